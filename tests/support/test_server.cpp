// The dev kit's HTTPS test server run for one test; its directory is under the
// root's, and goes with it.
#include "support/test_server.h"

#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace rctest {

namespace {

// The value of "key" in one line of the request log as json.dumps writes it
// (ensure_ascii off): a string unescaped, anything else as written, "" for
// null or when absent. A '"' inside a string is always escaped, so only a key
// can match.
std::string field(const std::string& line, const std::string& key) {
    size_t at = line.find("\"" + key + "\": ");
    if (at == std::string::npos) return "";
    at += key.size() + 4;
    if (line[at] != '"') {
        const std::string value = line.substr(at, line.find_first_of(",}", at) - at);
        return value == "null" ? "" : value;
    }
    std::string text;
    for (size_t i = at + 1; i < line.size() && line[i] != '"'; ++i) {
        char c = line[i];
        if (c == '\\' && line[++i] == 'u') {
            c = static_cast<char>(std::stoi(line.substr(i + 1, 4), nullptr, 16));  // only control characters
            i += 4;
        } else if (c == '\\') {
            c = line[i];
            c = c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c == 'b' ? '\b' : c == 'f' ? '\f' : c;
        }
        text += c;
    }
    return text;
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
    std::vector<RecordedRequest> out;
    std::ifstream log(dir_ + "/requests.jsonl");
    for (std::string line; std::getline(log, line);) {
        if (line.find("\"method\": ") == std::string::npos) continue;  // a failed TLS handshake
        out.push_back({field(line, "method"), field(line, "path"), field(line, "body"), field(line, "Content-Type"),
                       field(line, "Accept"), field(line, "client_subject"), field(line, "auth_ok") == "true",
                       std::atoi(field(line, "status").c_str())});
    }
    return out;
}

}  // namespace rctest
