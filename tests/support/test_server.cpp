// The dev kit's HTTPS test server run for one test; its directory is under the
// root's, and goes with it.
#include "support/test_server.h"

#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace rctest {

namespace {

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

}  // namespace

TestServer::TestServer(const HeadendRoot& root, const std::string& scriptJson, const std::string& certSet)
    : root_(root), dir_(makeTempDir("server-", root.rooted("/devkit"))) {
    std::ofstream(dir_ + "/script.json") << scriptJson;
    server_ = std::make_unique<Child>(std::vector<std::string>{
        "python3", devkitDir() + "/testserver.py", "--root", root.path(), "--script", dir_ + "/script.json", "--log",
        dir_ + "/requests.jsonl", "--port-file", dir_ + "/port", "--cert-set", certSet, "--idle-exit", "300"});
    // The server is up in well under a second; this only bounds a broken start.
    for (int polls = 0; !(std::ifstream(dir_ + "/port") >> port_) || port_ <= 0; ++polls) {
        if (!server_->running()) {
            throw std::runtime_error("the test server exited at start (bad script or certificates?); see above");
        }
        if (polls == 500) throw std::runtime_error("the test server did not report its port within 10 s");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::string TestServer::baseUrl() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }

void TestServer::configureAgent() const { root_.setConfig("servidorZAT_direccion", baseUrl()); }

std::vector<RecordedRequest> TestServer::requests() const {
    const std::string flatFile = dir_ + "/requests.flat";
    if (Child({"python3", "-c", kFlattenLog, dir_ + "/requests.jsonl", flatFile}).finish(std::chrono::minutes(1)) != 0) {
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
        out.push_back({f[0], f[1], f[2], f[3], f[4], f[5], f[7] == "1", atoi(f[8].c_str())});
    }
    return out;
}

}  // namespace rctest
