// The dev kit's HTTPS test server (devkit/testserver.py) run for one test:
// loopback only, client certificate required, basic authentication, answers
// from a script, every request recorded. Stopped (and reaped) when the object
// goes, also when the test fails.
#pragma once

#include "support/process_helpers.h"

#include <memory>
#include <string>
#include <vector>

namespace rctest {

class HeadendRoot;

struct RecordedRequest {
    std::string method;
    std::string path;
    std::string body;
    std::string contentType;    // "" when absent
    std::string accept;         // "" when absent
    std::string clientSubject;  // subject of the client certificate
    bool authOk = false;
    int status = 0;  // what the server answered
};

class TestServer {
public:
    // scriptJson: the answer script (see devkit/README.md). certSet "default"
    // uses the server certificate of the root's CA; "other" one from a
    // different CA.
    TestServer(const HeadendRoot& root, const std::string& scriptJson, const std::string& certSet = "default");

    // "https://127.0.0.1:<port>/"
    std::string baseUrl() const;
    // Writes the base URL into servidorZAT_direccion of the root.
    void configureAgent() const;
    std::vector<RecordedRequest> requests() const;

private:
    const HeadendRoot& root_;
    std::string dir_;
    std::unique_ptr<Child> server_;
    int port_ = 0;
};

}  // namespace rctest
