// The dev kit's HTTPS test server run for one test.
#include "support/test_server.h"

#include "support/headend_root.h"
#include "support/process_helpers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <cstdlib>
#include <sys/wait.h>
#include <thread>

namespace rctest {

namespace {

// The server is up in well under a second; this only bounds a broken start.
constexpr auto kStartTimeout = std::chrono::seconds(10);
constexpr auto kPollInterval = std::chrono::milliseconds(20);

void stopChild(int pid) {
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
}

// Flattens the request log into records separated by \x1e with fields
// separated by \x1f, in RecordedRequest's order. Failed TLS handshakes are
// logged as events without a method and are left out.
const char* const kFlattenLog = R"(
import json, sys
out = open(sys.argv[2], "w", encoding="utf-8")
for line in open(sys.argv[1], encoding="utf-8"):
    if not line.strip():
        continue
    r = json.loads(line)
    if "method" not in r:
        continue
    h = {k.lower(): v for k, v in r.get("headers", {}).items()}
    fields = [r["method"], r["path"], r.get("body", ""), h.get("content-type", ""), h.get("accept", ""),
              r.get("client_subject") or "", r.get("user") or "", "1" if r.get("auth_ok") else "0",
              str(r.get("status", 0))]
    out.write("\x1f".join(fields) + "\x1e")
)";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t end; (end = text.find(separator, start)) != std::string::npos; start = end + 1) {
        parts.push_back(text.substr(start, end - start));
    }
    parts.push_back(text.substr(start));
    return parts;
}

bool readPort(const std::string& path, int& port) {
    std::ifstream in(path);
    return static_cast<bool>(in >> port) && port > 0;
}

}  // namespace

TestServer::TestServer(const HeadendRoot& root, const std::string& scriptJson,
                       const std::string& certSet)
    : root_(root) {
    dir_ = makeTempDir("server-", root.rooted("/devkit"));
    const std::string script = dir_ + "/script.json";
    const std::string portFile = dir_ + "/port";
    {
        std::ofstream out(script);
        out << scriptJson;
        if (!out) throw std::runtime_error("cannot write " + script);
    }
    pid_ = spawnProcess({"python3", devkitDir() + "/testserver.py", "--root", root.path(),
                         "--script", script, "--log", dir_ + "/requests.jsonl", "--port-file",
                         portFile, "--cert-set", certSet, "--idle-exit", "300"});
    const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
    while (!readPort(portFile, port_)) {
        int status = 0;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            pid_ = -1;
            throw std::runtime_error("the test server exited at start (bad script or "
                                     "certificates?); see its message above");
        }
        if (std::chrono::steady_clock::now() > deadline) {
            stopChild(pid_);
            pid_ = -1;
            throw std::runtime_error("the test server did not report its port within 10 s");
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

TestServer::~TestServer() {
    stopChild(pid_);
    removeTreeNoShell(dir_);
}

std::string TestServer::baseUrl() const {
    return "https://127.0.0.1:" + std::to_string(port_) + "/";
}

void TestServer::configureAgent() const { root_.setConfig("servidorZAT_direccion", baseUrl()); }

std::vector<RecordedRequest> TestServer::requests() const {
    const std::string flatFile = dir_ + "/requests.flat";
    if (runProcess({"python3", "-c", kFlattenLog, dir_ + "/requests.jsonl", flatFile}) != 0) {
        ADD_FAILURE() << "the request log could not be read";
    }
    std::ifstream in(flatFile, std::ios::binary);
    const std::string flat((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

    std::vector<RecordedRequest> out;
    std::vector<std::string> records = split(flat, '\x1e');
    records.pop_back();  // after the last separator
    for (const std::string& record : records) {
        std::vector<std::string> f = split(record, '\x1f');
        if (f.size() != 9) {
            ADD_FAILURE() << "unreadable request record: " << record;
            continue;
        }
        out.push_back({f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7] == "1", atoi(f[8].c_str())});
    }
    return out;
}

}  // namespace rctest
