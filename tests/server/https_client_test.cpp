// The HTTPS client against the dev kit's test server over loopback: which
// answers count as success, what goes on the wire, and that the certificates
// and credentials of the simulated headend are the ones used.
#include "common/errors.h"
#include "server/https_client.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <sys/resource.h>

namespace {

using namespace dorel_remote_control;

// The dev kit names the client certificate after the controller's serial.
const char kDevkitClientSubject[] = "SN-0001";

// The message of the CurlError a request throws ("" when it succeeds).
std::string failureOf(const std::string& url, const char* body) {
    try {
        HttpsClient::instance().request(url, body);
    } catch (const CurlError& e) {
        return e.what();
    }
    return std::string();
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

class HttpsClientTest : public ::testing::Test {
protected:
    // The identity and credentials are cached process-wide: start each test
    // from this root's values.
    void SetUp() override {
        settings() = Settings();
        settings().load();
    }

    rctest::HeadendRoot root;
};

TEST_F(HttpsClientTest, OkAnswerReturnsTheBodyNulTerminatedAndEchoesIt) {
    rctest::TestServer server(root, R"({"routes": {
        "/rc/status": [{"code": 200, "body": "<statusReply>ok</statusReply>"}]}})");
    rctest::LogCapture log;
    const std::string url = server.baseUrl() + "rc/status";

    testing::internal::CaptureStdout();
    ResponseBuffer body = HttpsClient::instance().request(url, "<status/>");
    const std::string echoed = testing::internal::GetCapturedStdout();

    EXPECT_EQ("<statusReply>ok</statusReply>", body.str());
    ASSERT_EQ(std::strlen("<statusReply>ok</statusReply>"), body.size());
    EXPECT_EQ('\0', body.data()[body.size()]) << "ready for the XML parser";
    EXPECT_EQ("<statusReply>ok</statusReply>\n", echoed);
    EXPECT_TRUE(log.contains("Reconfiguring curl")) << log.dump();
    EXPECT_TRUE(log.contains("Requesting: " + url)) << log.dump();
    EXPECT_TRUE(log.contains("Response code: 200")) << log.dump();
}

TEST_F(HttpsClientTest, EmptyOkAnswerIsAnEmptyText) {
    rctest::TestServer server(root, R"({"routes": {"/empty": [{"code": 200, "body": ""}]}})");
    ResponseBuffer body = HttpsClient::instance().request(server.baseUrl() + "empty", "");
    EXPECT_EQ(0u, body.size());
    ASSERT_NE(nullptr, body.data());
    EXPECT_EQ('\0', body.data()[0]);
}

TEST_F(HttpsClientTest, OnlyTwoHundredIsSuccess) {
    // 3xx included: redirects are not followed, so the target is never asked.
    rctest::TestServer server(root, R"({"routes": {
        "/created":   [{"code": 201, "body": "<statusReply/>"}],
        "/nocontent": [{"code": 204}],
        "/moved":     [{"code": 302, "redirect": "/target"}],
        "/missing":   [{"code": 404, "body": "gone"}],
        "/broken":    [{"code": 500, "body": "oops"}],
        "/target":    [{"code": 200, "body": "<statusReply/>"}]}})");
    const struct {
        const char* path;
        const char* message;
    } cases[] = {
        {"created", "Invalid response code: 201"},
        {"nocontent", "Invalid response code: 204"},
        {"moved", "Invalid response code: 302"},
        {"missing", "Invalid response code: 404"},
        {"broken", "Invalid response code: 500"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.message, failureOf(server.baseUrl() + c.path, "<status/>")) << c.path;
    }
    for (const auto& request : server.requests()) {
        EXPECT_NE("/target", request.path) << "a redirect was followed";
    }
}

TEST_F(HttpsClientTest, NullBodyIsAPlainGetAndAnyOtherBodyAnXmlPost) {
    rctest::TestServer server(root, R"({"routes": {
        "/get":   [{"code": 200, "body": "a"}],
        "/empty": [{"code": 200, "body": "b"}],
        "/doc":   [{"code": 200, "body": "c"}]}})");
    HttpsClient& client = HttpsClient::instance();
    client.request(server.baseUrl() + "get", nullptr);
    client.request(server.baseUrl() + "empty", "");
    client.request(server.baseUrl() + "doc", "<status><id>x</id></status>");

    const auto requests = server.requests();
    ASSERT_EQ(3u, requests.size());
    EXPECT_EQ("GET", requests[0].method);
    EXPECT_EQ("", requests[0].contentType);
    EXPECT_NE("application/xml", requests[0].accept) << "libcurl's own default only";
    for (size_t i = 1; i < 3; ++i) {
        EXPECT_EQ("POST", requests[i].method) << requests[i].path;
        EXPECT_EQ("application/xml", requests[i].contentType) << requests[i].path;
        EXPECT_EQ("application/xml", requests[i].accept) << requests[i].path;
    }
    EXPECT_EQ("", requests[1].body);
    EXPECT_EQ("<status><id>x</id></status>", requests[2].body);
}

TEST_F(HttpsClientTest, CredentialsComeFromTheSettingsOfTheMoment) {
    rctest::TestServer server(root, R"({"users": {"rc-user": "rc-pass"}})");
    const std::string url = server.baseUrl() + "rc/status";
    HttpsClient& client = HttpsClient::instance();

    EXPECT_EQ("", failureOf(url, "<status/>"));

    root.setConfig("servidorZAT_password", "wrong");
    ASSERT_TRUE(settings().load());
    EXPECT_EQ("Invalid response code: 401", failureOf(url, "<status/>"));

    // A password fixed on the headend is used by the very next request, on
    // the same process-wide handle.
    root.setConfig("servidorZAT_password", "rc-pass");
    ASSERT_TRUE(settings().load());
    EXPECT_NO_THROW(client.request(url, "<status/>"));

    const auto requests = server.requests();
    ASSERT_EQ(3u, requests.size());
    EXPECT_TRUE(requests[0].authOk);
    EXPECT_FALSE(requests[1].authOk);
    EXPECT_TRUE(requests[2].authOk);
    for (const auto& request : requests) EXPECT_EQ("rc-user", request.user);
}

TEST_F(HttpsClientTest, PresentsTheHeadendsClientCertificate) {
    rctest::TestServer server(root, "{}");
    HttpsClient::instance().request(server.baseUrl() + "rc/status", "<status/>");
    const auto requests = server.requests();
    ASSERT_EQ(1u, requests.size());
    EXPECT_EQ(kDevkitClientSubject, requests[0].clientSubject);
}

TEST_F(HttpsClientTest, ServerFromAnotherCaIsRefused) {
    rctest::TestServer server(root, "{}", "other");
    const std::string failure = failureOf(server.baseUrl() + "rc/status", "<status/>");
    EXPECT_TRUE(startsWith(failure, "Error sending http request(")) << failure;
    EXPECT_TRUE(server.requests().empty()) << "nothing may be sent to an unverified server";
}

TEST_F(HttpsClientTest, MissingClientCertificateIsATransferError) {
    rctest::TestServer server(root, "{}");
    ASSERT_EQ(0, std::remove(root.rooted("/dorel/certs/module/wmb-client.crt").c_str()));
    ASSERT_EQ(0, std::remove(root.rooted("/dorel/certs/module/wmb.key").c_str()));
    const std::string failure = failureOf(server.baseUrl() + "rc/status", "<status/>");
    EXPECT_TRUE(startsWith(failure, "Error sending http request(")) << failure;
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(HttpsClientTest, UnreachableServerIsATransferErrorWithLibcurlsText) {
    // Port 1 on loopback: nothing listens there.
    const std::string failure = failureOf("https://127.0.0.1:1/rc/status", "<status/>");
    EXPECT_TRUE(startsWith(failure, "Error sending http request(7): Couldn't connect to server: "))
        << failure;
}

TEST_F(HttpsClientTest, MalformedUrlIsATransferError) {
    for (const char* url : {"", "not a url", "gopher//x"}) {
        const std::string failure = failureOf(url, nullptr);
        EXPECT_TRUE(startsWith(failure, "Error sending http request(")) << url << ": " << failure;
    }
}

// ----------------------------------------------------------------- buffer --

TEST(ResponseBuffer, GrowsByChunksAndStaysNulTerminated) {
    ResponseBuffer buffer;
    EXPECT_EQ(0u, buffer.size());
    EXPECT_STREQ("", buffer.data());

    char first[] = "<status";
    char second[] = "Reply/>";
    EXPECT_EQ(7u, ResponseBuffer::append(first, 1, 7, &buffer));
    EXPECT_EQ(0u, ResponseBuffer::append(second, 1, 0, &buffer));
    EXPECT_EQ(7u, ResponseBuffer::append(second, 7, 1, &buffer));
    EXPECT_EQ(14u, buffer.size());
    EXPECT_STREQ("<statusReply/>", buffer.data());

    // Embedded NULs are data, not the end.
    char binary[] = {'a', '\0', 'b'};
    ResponseBuffer raw;
    ResponseBuffer::append(binary, 1, 3, &raw);
    EXPECT_EQ(std::string("a\0b", 3), raw.str());
    EXPECT_EQ('\0', raw.data()[3]);
}

TEST(ResponseBuffer, RefusesAChunkItCouldNotCount) {
    ResponseBuffer buffer;
    char chunk[] = "x";
    ResponseBuffer::append(chunk, 1, 1, &buffer);
    // A refused chunk aborts the transfer (write error) instead of wrapping
    // the 32-bit length; the memory behind the chunk is never read.
    EXPECT_EQ(0u, ResponseBuffer::append(chunk, 1, 0xFFFFFFFFu, &buffer));
    EXPECT_EQ(0u, ResponseBuffer::append(chunk, static_cast<size_t>(-1), 2, &buffer));
    EXPECT_EQ("x", buffer.str());
}

TEST(ResponseBuffer, MovedFromBufferIsAValidEmptyText) {
    ResponseBuffer source;
    char chunk[] = "body";
    ResponseBuffer::append(chunk, 1, 4, &source);

    ResponseBuffer moved(std::move(source));
    EXPECT_EQ("body", moved.str());
    EXPECT_EQ(0u, source.size());  // NOLINT(bugprone-use-after-move)
    EXPECT_STREQ("", source.data());
    // ... and still usable.
    ResponseBuffer::append(chunk, 1, 2, &source);
    EXPECT_EQ("bo", source.str());

    ResponseBuffer target;
    target = std::move(moved);
    EXPECT_EQ("body", target.str());
}

// Runs in the death test's child: caps the address space, then claims a chunk
// far beyond it. The chunk is never read because the allocation fails first.
void appendBeyondMemory() {
    debugMask |= kLogEnableBit;
    ScopedLogSink toStderr([](int, const std::string& line) {
        std::fprintf(stderr, "%s\n", line.c_str());
    });
    const rlim_t cap = rlim_t(1) << 30;
    struct rlimit limit = {cap, cap};
    setrlimit(RLIMIT_AS, &limit);
    ResponseBuffer buffer;
    char chunk[] = "x";
    ResponseBuffer::append(chunk, 1, 0xF0000000u, &buffer);
}

TEST(ResponseBufferDeathTest, RunningOutOfMemoryEndsTheProcessWithStatusOne) {
    // A fresh process, so no client or connection of this one is inherited.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(appendBeyondMemory(), ::testing::ExitedWithCode(1),
                "not enough memory \\(realloc returned NULL\\)");
}

}  // namespace
