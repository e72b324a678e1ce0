#include "commands/maintenance/regenerate_ssl_certificate.h"

#include "commands/core/result_codes.h"
#include "commands/maintenance/certificate_check.h"
#include "commands/maintenance/client_certificate.h"
#include "common/errors.h"
#include "common/fs.h"
#include "common/log.h"
#include "common/paths.h"
#include "server/server_request.h"

#include <exception>

namespace dorel_remote_control {

namespace {

const char kSigningFailed[] = "Error obtaining SSL certificate";

// The signed certificate of a signCSR reply, or a failure text for 902.
SignedCertificate requestSignature(const std::string& csr) {
    SignedCertificate result;
    ServerRequest request("signCSR");
    appendElement(request.doc(), request.root(), "csr", csr);
    ResponseBuffer reply;
    try {
        reply = request.post();
    } catch (const CurlError& e) {
        logf(3, "Error obtaining SSL certificate: %s", e.what());
        result.failure = kSigningFailed;
        return result;
    } catch (const std::exception& e) {
        // The CAM key request's wording: both exchanges have always shared it.
        logf(3, "Error getting Quorvex public keys: %s", e.what());
        result.failure = kSigningFailed;
        return result;
    }

    return readSignReply(reply.str());
}

}  // namespace

SignedCertificate readSignReply(const std::string& text) {
    SignedCertificate result;
    std::unique_ptr<ParsedXml> parsed;
    try {
        parsed = std::make_unique<ParsedXml>(text);
    } catch (const std::exception& e) {
        logf(4, "Could not parse 'signCSRReply': %s", e.what());
        result.failure = "Could not parse 'signCSRReply'";
        return result;
    }
    const XmlNode* root = childElement(&parsed->doc(), "signCSRReply");
    if (root == nullptr) {
        result.failure = "Could not find 'signCSRReply' element";
    } else if (const XmlNode* crt = childElement(root, "crt")) {
        result.crt = nodeText(crt);
    } else {
        result.failure = "Could not find 'signCSRReply/crt' element";
    }
    if (result.failure != nullptr) logf(4, "%s", result.failure);
    return result;
}

void CmdRegenerateSSLCertificate::execute() {
    startResult();

    // The controller's other software makes the CSR; without one the server
    // is still asked, and decides.
    std::string csr;
    const bool csrMissing = !readFile(paths::clientCsr(), csr) || csr.empty();
    if (csrMissing) logf(3, "Could not read the CSR %s", paths::clientCsr().c_str());

    const SignedCertificate signedCertificate = requestSignature(csr);
    if (signedCertificate.failure != nullptr) {
        addError(kErrorRequestingSignature, signedCertificate.failure);
        return;
    }

    // A certificate the transport could not use would cut the controller
    // off for good: the one in use is not touched for it.
    const std::string refusal = checkReceivedCertificate(signedCertificate.crt, paths::clientKey());
    if (!refusal.empty()) {
        logf(3, "%s", refusal.c_str());
        addError(kCouldNotSaveCrt, refusal);
        return;
    }

    ClientCertificateFiles files;
    switch (files.install(signedCertificate.crt)) {
        case CertificateInstall::kNotSaved:
            addError(kCouldNotSaveCrt, "Could not save CRT");
            return;
        case CertificateInstall::kNotReplaced:
            addError(kCouldNotSaveCrt, "Could not replace CRT");
            return;
        case CertificateInstall::kInstalled:
            break;
    }
    // Connections opened with the old certificate must not carry the next
    // request.
    HttpsClient::instance().dropConnections();
    if (csrMissing) addError(kErrorGeneratingCsr);
}

}  // namespace dorel_remote_control
