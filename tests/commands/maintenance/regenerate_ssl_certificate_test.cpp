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
#include <functional>

#include <sys/stat.h>

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
    // The certificate that worked before is still where a person would find it.
    void expectOriginalKept(const std::string& context) const {
        const bool inPlace = root_.exists(kCrt) && root_.readFile(kCrt) == original_;
        const bool inBackup = root_.exists(kBak) && root_.readFile(kBak) == original_;
        EXPECT_TRUE(inPlace || inBackup) << context;
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
    EXPECT_NE(original_, first);
    EXPECT_NE(std::string::npos, first.find("-----BEGIN CERTIFICATE-----"));
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
    // A failure of the exchange takes the place of the CSR's code.
    EXPECT_EQ((Errors{{kErrorRequestingSignature, "Error obtaining SSL certificate"}}), regenerate());
}

TEST_F(RegenerateCertificate, EveryFailureKeepsAWorkingCertificate) {
    const std::string good = "<signCSRReply><crt>" + original_ + "</crt></signCSRReply>";
    const struct {
        const char* name;
        std::string script;
        std::function<void()> prepare;
        Errors expected;
    } cases[] = {
        {"server error", R"({"routes": {"/signCSR": [{"code": 500}]}})", nullptr,
         {{kErrorRequestingSignature, "Error obtaining SSL certificate"}}},
        {"not XML", signReply("<signCSRReply><crt>"), nullptr,
         {{kErrorRequestingSignature, "Could not parse 'signCSRReply'"}}},
        {"other root", signReply("<SIGNCSRREPLY><crt>x</crt></SIGNCSRREPLY>"), nullptr,
         {{kErrorRequestingSignature, "Could not find 'signCSRReply' element"}}},
        {"no crt", signReply("<signCSRReply><cert>x</cert></signCSRReply>"), nullptr,
         {{kErrorRequestingSignature, "Could not find 'signCSRReply/crt' element"}}},
        {"temporary file unwritable", signReply(good), [this] { mkdir(root_.rooted(kTmp).c_str(), 0755); },
         {{kCouldNotSaveCrt, "Could not save CRT"}}},
        {"backup blocked", signReply(good),
         [this] {
             mkdir(root_.rooted(kBak).c_str(), 0755);
             root_.writeFile(std::string(kBak) + "/keep", "x");
         },
         {{kCouldNotSaveCrt, "Could not replace CRT"}}},
        {"10 MB after the certificate",
         signReply("<signCSRReply><crt>" + original_ + std::string(10 << 20, 'A') + "</crt></signCSRReply>"), nullptr,
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // Each case starts from the installed certificate alone.
        root_.writeFile(kCrt, original_);
        for (const char* leftover : {kTmp, kBak}) {
            if (removeTree(root_.rooted(leftover)) != 0) std::remove(root_.rooted(leftover).c_str());
        }
        serve(c.script);
        if (c.prepare) c.prepare();
        EXPECT_EQ(c.expected, regenerate());
        expectOriginalKept(c.name);
        // A failure leaves the certificate in use where it was.
        if (!c.expected.empty()) {
            EXPECT_EQ(original_, root_.readFile(kCrt));
        }
    }
}

// A certificate the transport could not load beside the controller's key
// never touches the files; text around one it can load is kept as received.
TEST_F(RegenerateCertificate, OnlyACertificateForTheControllersKeyIsInstalled) {
    const std::string otherKey = root_.readFile("/devkit/certs/server.crt");  // same CA
    const std::string brokenBlock = "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n";
    const char notPem[] = "Received certificate is not a PEM certificate";
    const char mismatch[] = "Received certificate does not match the controller's key";
    const struct {
        const char* name;
        std::string crt;
        const char* refusal;  // nullptr: installed
    } cases[] = {
        {"garbage", "NEW CERTIFICATE", notPem},
        {"certificate for another key", otherKey, mismatch},
        {"the controller's certificate second", otherKey + original_, mismatch},
        {"broken block after the certificate", original_ + brokenBlock, notPem},
        {"text around the certificate", "issued for SN-0001\n" + original_ + "end\n", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        serve(signReply("<signCSRReply><crt>" + c.crt + "</crt></signCSRReply>"));
        if (c.refusal) {
            EXPECT_EQ((Errors{{kCouldNotSaveCrt, c.refusal}}), regenerate());
            EXPECT_EQ(original_, root_.readFile(kCrt));
            EXPECT_FALSE(root_.exists(kBak));
            EXPECT_FALSE(root_.exists(kTmp));
        } else {
            EXPECT_EQ(Errors{}, regenerate());
            EXPECT_EQ(c.crt, root_.readFile(kCrt));
            EXPECT_EQ(original_, root_.readFile(kBak));
            EXPECT_NO_THROW(statusRequest());  // the transport loads it as it is
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
