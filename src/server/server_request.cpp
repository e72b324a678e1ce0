#include "server/server_request.h"

#include "server/settings.h"

namespace dorel_remote_control {

ServerRequest::ServerRequest(const std::string& requestName)
    : name_(requestName), doc_(std::make_unique<XmlDocument>()) {
    const Settings& identity = settings();
    root_ = appendElement(*doc_, doc_.get(), requestName);
    appendElement(*doc_, root_, "id", identity.hostName());
    appendElement(*doc_, root_, "mac", identity.mac());
    appendElement(*doc_, root_, "serialNumber", identity.serialNumber());
    appendElement(*doc_, root_, "zatContractId", identity.contractId());
}

std::string ServerRequest::text() const { return kXmlDeclaration + printXml(*doc_); }

ResponseBuffer ServerRequest::post(Env& env) const {
    const std::string body = text();
    return HttpsClient::instance().request(env, settings().serverAddress() + name_, body.c_str());
}

}  // namespace dorel_remote_control
