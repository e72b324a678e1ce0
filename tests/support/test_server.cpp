// The dev kit's HTTPS test server run for one test.
#include "support/test_server.h"

#include "support/headend_root.h"
#include "support/json_reader.h"
#include "support/process_helpers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <strings.h>
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

std::string header(const json::Value& record, const char* name) {
    const json::Value* headers = record.find("headers");
    if (!headers) return std::string();
    for (size_t i = 0; i < headers->keys.size(); ++i) {
        if (strcasecmp(headers->keys[i].c_str(), name) == 0 &&
            headers->values[i].kind == json::Value::Kind::String) {
            return headers->values[i].text;
        }
    }
    return std::string();
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
    std::vector<RecordedRequest> out;
    std::ifstream in(dir_ + "/requests.jsonl");
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        json::Value record;
        try {
            record = json::parse(line);
        } catch (const std::runtime_error& e) {
            ADD_FAILURE() << "unreadable request record: " << e.what() << "\n  " << line;
            continue;
        }
        // Failed TLS handshakes are recorded as events, not requests.
        if (!record.find("method")) continue;
        RecordedRequest r;
        r.method = record.string("method");
        r.path = record.string("path");
        r.body = record.string("body");
        r.contentType = header(record, "Content-Type");
        r.accept = header(record, "Accept");
        r.clientSubject = record.string("client_subject");
        r.user = record.string("user");
        const json::Value* ok = record.find("auth_ok");
        r.authOk = ok && ok->kind == json::Value::Kind::Bool && ok->boolean;
        const json::Value* status = record.find("status");
        if (status && status->kind == json::Value::Kind::Number) {
            r.status = static_cast<int>(status->number);
        }
        out.push_back(std::move(r));
    }
    return out;
}

}  // namespace rctest
