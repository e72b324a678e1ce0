#include "commands/maintenance/regenerate_ssl_certificate.h"

#include "commands/core/result_codes.h"
#include "commands/maintenance/certificate_check.h"
#include "server/client_certificate.h"
#include "common/errors.h"
#include "common/fs.h"
#include "common/env.h"
#include "server/server_request.h"

#include <exception>

namespace dorel_remote_control {

namespace {

const char kSigningFailed[] = "Error obtaining SSL certificate";
const char kRolledBack[] = "The server refused the renewed certificate; the previous one is back in use";

// The signed certificate of a signCSR reply, or a failure text for 902.
SignedCertificate requestSignature(Env& env, const std::string& csr) {
    SignedCertificate result;
    ServerRequest request("signCSR");
    appendElement(request.doc(), request.root(), "csr", csr);
    ResponseBuffer reply;
    try {
        reply = request.post(env);
    } catch (const CurlError& e) {
        result.failure = kSigningFailed;
        result.logLine = std::string("Error obtaining SSL certificate: ") + e.what();
        return result;
    } catch (const std::exception& e) {
        // The CAM key request's wording: both exchanges have always shared it.
        result.failure = kSigningFailed;
        result.logLine = std::string("Error getting Quorvex public keys: ") + e.what();
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
        result.failure = "Could not parse 'signCSRReply'";
        result.logLine = std::string(result.failure) + ": " + e.what();
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
    if (result.failure != nullptr) result.logLine = result.failure;
    return result;
}

void CmdRegenerateSSLCertificate::execute() {
    startResult();

    // The controller's other software makes the CSR; without one the server
    // is still asked, and decides.
    const std::string csrPath = env().paths().clientCsr();
    std::string csr;
    const bool csrMissing = !readFile(csrPath, csr) || csr.empty();

    const SignedCertificate signedCertificate = requestSignature(env(), csr);
    if (signedCertificate.failure != nullptr) {
        fail(kErrorRequestingSignature, signedCertificate.failure, "%s", signedCertificate.logLine.c_str());
        return;
    }

    // A certificate the transport could not use would cut the controller
    // off for good: the one in use is not touched for it.
    const std::string refusal = checkReceivedCertificate(signedCertificate.crt, env().paths().clientKey());
    if (!refusal.empty()) {
        fail(kCouldNotSaveCrt, refusal, "%s", refusal.c_str());
        return;
    }

    ClientCertificateFiles files(env());
    switch (files.install(signedCertificate.crt)) {
        case CertificateInstall::kNotSaved:
            fail(kCouldNotSaveCrt, "Could not save CRT");
            return;
        case CertificateInstall::kNotReplaced:
            fail(kCouldNotSaveCrt, "Could not replace CRT");
            return;
        case CertificateInstall::kInstalled:
            break;
    }
    // Connections opened with the old certificate must not carry the next
    // request, which decides whether the server takes the new one.
    HttpsClient::instance().dropConnections(env());
    HttpsClient::instance().noteRenewal();
    if (csrMissing) fail(kErrorGeneratingCsr, std::string(), "Could not read the CSR %s", csrPath.c_str());
}

void CmdRegenerateSSLCertificate::certificateRolledBack() {
    result().setCompletionMark(false);
    fail(kCouldNotSaveCrt, kRolledBack);
}

}  // namespace dorel_remote_control
