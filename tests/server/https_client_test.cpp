// The HTTPS client against the dev kit's test server over loopback: which
// answers count as success, what goes on the wire, and that the certificates
// and credentials of the simulated headend are the ones used.
#include "common/errors.h"
#include "server/https_client.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/json_reader.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

using namespace dorel_remote_control;

// The message of the CurlError a request throws ("" when it succeeds).
std::string failureOf(rctest::TestEnv& env, const std::string& url, const char* body) {
    try {
        HttpsClient::instance().request(env, url, body);
    } catch (const CurlError& e) {
        return e.what();
    }
    return "";
}

class HttpsClientTest : public ::testing::Test {
protected:
    // The identity and credentials are cached process-wide: start each test
    // from this root's values.
    void SetUp() override {
        settings() = Settings();
        settings().load(root.env());
    }

    rctest::HeadendRoot root;
};

TEST_F(HttpsClientTest, OkAnswersComeBackWholeAndNulTerminatedWhateverTheBodySent) {
    const std::string big(100000, 'x');  // arrives in several chunks
    rctest::TestServer server(root, R"({"routes": {"/big": [{"body": )" + rctest::json::quote(big) +
                                        R"(}], "/empty": [{"body": ""}], "/get": [{"body": "a"}]}})");
    HttpsClient& client = HttpsClient::instance();
    testing::internal::CaptureStdout();  // the client echoes every body
    ResponseBuffer body = client.request(root.env(), server.baseUrl() + "big", "<status><id>x</id></status>");
    ResponseBuffer empty = client.request(root.env(), server.baseUrl() + "empty", "");
    client.request(root.env(), server.baseUrl() + "get", nullptr);
    testing::internal::GetCapturedStdout();

    EXPECT_TRUE(body.str() == big) << "got " << body.size() << " bytes";
    EXPECT_EQ('\0', body.data()[body.size()]) << "ready for the XML parser";
    EXPECT_EQ(0u, empty.size());
    EXPECT_EQ('\0', empty.data()[0]);

    // Any body, even an empty one, is an XML POST; none is a plain GET.
    const auto requests = server.requests();
    ASSERT_EQ(3u, requests.size());
    for (size_t i = 0; i < 3; ++i) {
        const bool post = i < 2;
        EXPECT_EQ(post ? "POST" : "GET", requests[i].method) << requests[i].path;
        EXPECT_EQ(post ? "application/xml" : "", requests[i].contentType) << requests[i].path;
        EXPECT_EQ(post, requests[i].accept == "application/xml") << requests[i].path;
    }
    EXPECT_EQ("<status><id>x</id></status>", requests[0].body);
    // The dev kit names the client certificate after the controller's serial.
    EXPECT_EQ("SN-0001", requests[0].clientSubject);
}

TEST_F(HttpsClientTest, OnlyTwoHundredWithTheCredentialsOfTheMomentIsSuccess) {
    rctest::TestServer server(root, R"({"routes": {"/created": [{"code": 201, "body": "<statusReply/>"}],
        "/moved": [{"code": 302, "redirect": "/rc/status"}]}})");
    const struct {
        const char* path;
        const char* password;
        const char* failure;
    } cases[] = {
        {"created", "rc-pass", "Invalid response code: 201"},
        {"moved", "rc-pass", "Invalid response code: 302"},  // not followed
        {"rc/status", "rc-pass", ""},
        // A changed password is used by the very next request.
        {"rc/status", "wrong", "Invalid response code: 401"},
    };
    for (const auto& c : cases) {
        root.setConfig("servidorZAT_password", c.password);
        settings().load(root.env());
        EXPECT_EQ(c.failure, failureOf(root.env(), server.baseUrl() + c.path, "<status/>")) << c.path << c.password;
    }
    EXPECT_EQ(4u, server.requests().size()) << "a redirect was followed";
}

TEST_F(HttpsClientTest, UntrustedServerOrMissingClientCertificateSendsNothing) {
    const std::string prefix = "Error sending http request(";
    {
        rctest::TestServer other(root, "{}", "other");
        EXPECT_EQ(0u, failureOf(root.env(), other.baseUrl() + "rc/status", "<status/>").find(prefix));
        EXPECT_TRUE(other.requests().empty()) << "nothing may be sent to an unverified server";
    }
    rctest::TestServer server(root, "{}");
    ASSERT_EQ(0, std::remove(root.rooted("/dorel/certs/module/wmb-client.crt").c_str()));
    ASSERT_EQ(0, std::remove(root.rooted("/dorel/certs/module/wmb.key").c_str()));
    EXPECT_EQ(0u, failureOf(root.env(), server.baseUrl() + "rc/status", "<status/>").find(prefix));
    EXPECT_TRUE(server.requests().empty());
}

}  // namespace
