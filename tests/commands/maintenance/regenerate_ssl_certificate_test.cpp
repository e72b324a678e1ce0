// regenerateSSLCertificate against the dev kit's test server, which signs the
// CSR with the headend's CA: the renewed certificate is installed and
// presented by the very next request, and no failure of the exchange or of
// the files ever loses the certificate in use.
#include "support/command_test.h"

#include "commands/maintenance/certificate_check.h"
#include "server/client_certificate.h"
#include "server/https_client.h"
#include "common/errors.h"
#include "common/fs.h"
#include "support/json_reader.h"

#include <cstdio>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kCrt[] = "/dorel/certs/module/wmb-client.crt";
const char kTmp[] = "/dorel/certs/module/wmb-client.crt.tmp";
const char kBak[] = "/dorel/certs/module/wmb-client.crt.bak";
const char kCsr[] = "/dorel/certs/module/wmb-client.csr";

std::string signReply(const std::string& body) {
    return R"({"routes": {"/signCSR": [{"body": )" + json::quote(body) + "}]}}";
}

class RegenerateCertificate : public CommandTest {
protected:
    RegenerateCertificate() : CommandTest({}) {}
    void SetUp() override { original_ = root_.readFile(kCrt); }
    Errors regenerate() { return errorsOf("regenerateSSLCertificate"); }
    // The subject of the client certificate each request presented.
    std::vector<std::string> subjects() const {
        std::vector<std::string> out;
        for (const RecordedRequest& r : server_->requests()) out.push_back(r.path + " " + r.clientSubject);
        return out;
    }
    void statusRequest() {
        testing::internal::CaptureStdout();
        HttpsClient::instance().request(env(), server_->baseUrl() + "status", "<status/>");
        testing::internal::GetCapturedStdout();
    }

    std::string original_;
};

TEST_F(RegenerateCertificate, RenewedCertificateIsPresentedByTheNextRequestAndTheLastOneKept) {
    serve(R"({"signed_cn": "SN-0001 renewed {n}"})");
    EXPECT_EQ(Errors{}, regenerate());
    const std::string first = root_.readFile(kCrt);
    EXPECT_EQ(original_, root_.readFile(kBak));

    EXPECT_EQ(Errors{}, regenerate());
    EXPECT_EQ(first, root_.readFile(kBak));
    statusRequest();
    EXPECT_EQ((std::vector<std::string>{"/signCSR SN-0001", "/signCSR SN-0001 renewed 1", "/status SN-0001 renewed 2"}),
              subjects());
    const std::string request = server_->requests().front().body;
    EXPECT_NE(std::string::npos, request.find("<csr>" + root_.readFile(kCsr)));
    EXPECT_NE(std::string::npos, request.find("<serialNumber>SN-0001</serialNumber>"));
}

// A certificate of the CSR's key from a CA the server does not trust: it
// passes the check, and the server refuses it at the next handshake, which is
// the delivery of the renewal's own result.
TEST_F(RegenerateCertificate, ACertificateTheServerRefusesIsRolledBackOnce) {
    serve(R"({"sign": "other_ca"})");
    PollContext context(env());
    auto renewal = createCommand(env(), envelope(7, "regenerateSSLCertificate"));
    testing::internal::CaptureStdout();
    runAndReport(context, *renewal);
    testing::internal::GetCapturedStdout();
    const std::string refused = root_.readFile(kCrt + std::string(".refused"));
    EXPECT_EQ(original_, root_.readFile(kCrt));
    EXPECT_NE(original_, refused);
    EXPECT_FALSE(root_.exists(kCrt + std::string(".renewed")));
    const std::vector<RecordedRequest> requests = server_->requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ("/commandResult", requests.back().path);
    EXPECT_NE(std::string::npos, requests.back().body.find("<id>904</id>\n\t\t\t<text>The server refused the renewed "
                                                             "certificate; the previous one is back in use</text>"));
    statusRequest();
    EXPECT_EQ("/status SN-0001", subjects().back());
    // Once rolled back, a refusal is not rolled back again.
    root_.writeFile(kCrt, refused);
    HttpsClient::instance().dropConnections(env());
    EXPECT_THROW(HttpsClient::instance().request(env(), server_->baseUrl() + "status", "<status/>"), CurlError);
    EXPECT_EQ(refused, root_.readFile(kCrt));
}

TEST_F(RegenerateCertificate, MissingCsrIsReportedButTheServerStillAsked) {
    ASSERT_EQ(0, unlink(root_.rooted(kCsr).c_str()));
    serve(signReply("<signCSRReply><crt>" + original_ + "</crt></signCSRReply>"));
    EXPECT_EQ(only(kErrorGeneratingCsr), regenerate());
    EXPECT_NE(std::string::npos, server_->requests().at(0).body.find("<csr/>"));
}

// A certificate the transport could not load beside the controller's key never
// touches the files; text around one it can load is kept as received.
TEST_F(RegenerateCertificate, EveryFailureKeepsTheCertificateInUseAndOnlyOneForTheControllersKeyIsInstalled) {
    const std::string otherKey = root_.readFile("/devkit/certs/server.crt");  // same CA
    const std::string brokenBlock = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
    const auto signing = [](const char* why) { return Errors{{kErrorRequestingSignature, why}}; };
    const auto saving = [](const char* why) { return Errors{{kCouldNotSaveCrt, why}}; };
    const Errors notPem = saving("Received certificate is not a PEM certificate");
    const Errors mismatch = saving("Received certificate does not match the controller's key");
    const struct {
        const char* name;
        std::string crt;
        std::string script;   // "": a reply carrying crt
        const char* blocked;  // a directory in the way
        Errors expected;
    } cases[] = {
        {"server error", "", R"({"routes": {"/signCSR": [{"code": 500}]}})", nullptr,
         signing("Error obtaining SSL certificate")},
        {"not XML", "", signReply("<signCSRReply><crt>"), nullptr, signing("Could not parse 'signCSRReply'")},
        {"other root", "", signReply("<SIGNCSRREPLY><crt>x</crt></SIGNCSRREPLY>"), nullptr,
         signing("Could not find 'signCSRReply' element")},
        {"no crt", "", signReply("<signCSRReply><cert>x</cert></signCSRReply>"), nullptr,
         signing("Could not find 'signCSRReply/crt' element")},
        {"garbage", "NEW CERTIFICATE", "", nullptr, notPem},
        {"certificate for another key", otherKey, "", nullptr, mismatch},
        {"the controller's certificate second", otherKey + original_, "", nullptr, mismatch},
        {"broken block after the certificate", original_ + brokenBlock, "", nullptr, notPem},
        {"temporary file unwritable", original_, "", kTmp, saving("Could not save CRT")},
        {"backup blocked", original_, "", kBak, saving("Could not replace CRT")},
        {"text around the certificate", "issued for SN-0001\n" + original_ + "end\n", "", nullptr, {}},
        {"10 MB after the certificate", original_ + std::string(10 << 20, 'A'), "", nullptr, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // Each case starts from the installed certificate alone.
        root_.writeFile(kCrt, original_);
        for (const char* leftover : {kTmp, kBak}) {
            if (removeTree(root_.rooted(leftover)) != 0) std::remove(root_.rooted(leftover).c_str());
        }
        serve(c.script.empty() ? signReply("<signCSRReply><crt>" + c.crt + "</crt></signCSRReply>") : c.script);
        if (c.blocked) root_.writeFile(std::string(c.blocked) + "/keep", "");
        EXPECT_EQ(c.expected, regenerate());
        if (c.expected.empty()) {
            EXPECT_EQ(c.crt, root_.readFile(kCrt));
            EXPECT_EQ(original_, root_.readFile(kBak));
            EXPECT_NO_THROW(statusRequest());  // the transport loads it as it is
        } else {
            EXPECT_EQ(original_, root_.readFile(kCrt));
            EXPECT_EQ(c.blocked == kBak, root_.exists(kBak));
        }
    }
    // The exchange itself needs the key, so an unreadable one is only seen
    // by the check alone.
    EXPECT_EQ("Could not read the controller's key", checkReceivedCertificate(original_, root_.rooted(kCsr)));
}

// The swap's second rename cannot be made to fail on a real disk once the
// first succeeded; a seam does it.
class FailingSwap : public ClientCertificateFiles {
public:
    using ClientCertificateFiles::ClientCertificateFiles;

protected:
    int renameFile(const std::string& from, const std::string& to) override {
        if (from.size() > 4 && from.compare(from.size() - 4, 4, ".tmp") == 0) return -1;
        return ClientCertificateFiles::renameFile(from, to);
    }
};

TEST_F(RegenerateCertificate, FailedSwapMovesTheOldCertificateBack) {
    FailingSwap files(env());
    EXPECT_EQ(CertificateInstall::kNotReplaced, files.install("NEW"));
    EXPECT_EQ(original_, root_.readFile(kCrt));
    EXPECT_FALSE(root_.exists(kBak));
}

}  // namespace
}  // namespace rctest
