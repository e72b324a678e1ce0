// The dev kit's HTTPS test server (devkit/testserver.py) run for one test:
// loopback only, client certificate required, basic authentication, answers
// from a script, every request recorded. Stopped (and reaped) when the object
// goes, also when the test fails.
#pragma once

#include <string>
#include <vector>

namespace rctest {

class HeadendRoot;

struct RecordedRequest {
    std::string method;
    std::string path;
    std::string body;
    std::string contentType;     // "" when absent
    std::string accept;          // "" when absent
    std::string clientSubject;   // subject of the client certificate
    std::string user;            // basic-auth user ("" when none)
    bool authOk = false;
    int status = 0;              // what the server answered
};

class TestServer {
public:
    // scriptJson: the answer script (see devkit/README.md). certSet "default"
    // uses the server certificate of the root's CA; "other" one from a
    // different CA.
    TestServer(const HeadendRoot& root, const std::string& scriptJson,
               const std::string& certSet = "default");
    ~TestServer();
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;

    int port() const { return port_; }
    // "https://127.0.0.1:<port>/"
    std::string baseUrl() const;
    // Writes the base URL into servidorZAT_direccion of the root.
    void configureAgent() const;
    std::vector<RecordedRequest> requests() const;

private:
    const HeadendRoot& root_;
    std::string dir_;
    int pid_ = -1;
    int port_ = 0;
};

}  // namespace rctest
