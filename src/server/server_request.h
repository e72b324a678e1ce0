// A request document the agent sends to the server on its own initiative
// (certificate signing, CAM public keys): the declaration, a root element
// named after the request and the controller's identity block, then whatever
// the caller adds; posted to the server's base address + the request name.
#pragma once

#include "common/xml.h"
#include "server/https_client.h"

#include <memory>
#include <string>

namespace dorel_remote_control {

class ServerRequest {
public:
    // Opens <requestName> with id, mac, serialNumber and zatContractId.
    explicit ServerRequest(const std::string& requestName);
    ServerRequest(const ServerRequest&) = delete;
    ServerRequest& operator=(const ServerRequest&) = delete;

    XmlDocument& doc() { return *doc_; }
    XmlNode* root() { return root_; }

    // The printed document, declaration included.
    std::string text() const;
    // Posts the document to <server address><request name>. Throws CurlError
    // like every exchange of the HTTPS client.
    ResponseBuffer post(Env& env) const;

private:
    std::string name_;
    std::unique_ptr<XmlDocument> doc_;
    XmlNode* root_;
};

}  // namespace dorel_remote_control
