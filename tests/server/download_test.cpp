// Firmware downloads from the dev kit's test server into a directory of the
// simulated headend: naming, replacing, the MD5 check, and that no failure
// leaves a temporary or half-checked file behind.
#include "common/errors.h"
#include "server/download.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/json_reader.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using namespace dorel_remote_control;

const char kFirmware[] = "firmware 2.3\n";
const char kFirmwareMd5[] = "40b003dcde2e681579665aca786f6417";
const char kFirmwareMd5Upper[] = "40B003DCDE2E681579665ACA786F6417";

// Names in a directory, sorted, without "." and "..".
std::vector<std::string> entries(const std::string& dir) {
    std::vector<std::string> names;
    DIR* d = opendir(dir.c_str());
    if (!d) {
        ADD_FAILURE() << "cannot list " << dir;
        return names;
    }
    while (const dirent* e = readdir(d)) {
        const std::string name = e->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(d);
    std::sort(names.begin(), names.end());
    return names;
}

std::string contentsOf(const std::string& path) {
    std::string text;
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        char chunk[256];
        size_t n;
        while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0) text.append(chunk, n);
        std::fclose(f);
    } else {
        ADD_FAILURE() << "cannot read " << path;
    }
    return text;
}

// What a download threw: its kind and message ("" when it succeeded).
struct Outcome {
    std::string kind;
    std::string message;
};

Outcome attempt(const std::string& url, const std::string& dir, const std::string& md5) {
    try {
        downloadFile(url, dir, md5);
    } catch (const CurlError& e) {
        return {"CurlError", e.what()};
    } catch (const MD5Error& e) {
        return {"MD5Error", e.what()};
    }
    return {};
}

class DownloadTest : public ::testing::Test {
protected:
    void SetUp() override {
        settings() = Settings();
        settings().load();
        ASSERT_TRUE(mkdir(uploads.c_str(), 0755) == 0 || errno == EEXIST);
    }

    rctest::HeadendRoot root;
    const std::string uploads = root.rooted("/dorel/rc_uploads");
};

TEST_F(DownloadTest, FileIsNamedAfterTheUrlsLastSegment) {
    rctest::TestServer server(root, std::string(R"({"files": {"/fw/fw-2.3.bin": )") +
                                        rctest::json::quote(kFirmware) + "}}");
    rctest::LogCapture log;
    const std::string path = downloadFile(server.baseUrl() + "fw/fw-2.3.bin", uploads, "");

    EXPECT_EQ(uploads + "/fw-2.3.bin", path);
    EXPECT_EQ(kFirmware, contentsOf(path));
    EXPECT_EQ(std::vector<std::string>{"fw-2.3.bin"}, entries(uploads));
    EXPECT_TRUE(log.contains("Dowloading file: " + server.baseUrl() + "fw/fw-2.3.bin"))
        << log.dump();

    // The same certificate and credentials as the XML requests, as a GET.
    const auto requests = server.requests();
    ASSERT_EQ(1u, requests.size());
    EXPECT_EQ("GET", requests[0].method);
    EXPECT_TRUE(requests[0].authOk);
    EXPECT_EQ("SN-0001", requests[0].clientSubject);
}

TEST_F(DownloadTest, QueryPartStaysInTheName) {
    rctest::TestServer server(root, R"({"files": {"/fw/pkg.bin?v=2": "pkg"}})");
    const std::string path =
        downloadFile(server.baseUrl() + "fw/pkg.bin?v=2", uploads, "a46a1bce0b67c45bec8f435bd5390a54");
    EXPECT_EQ(uploads + "/pkg.bin?v=2", path);
    EXPECT_EQ("pkg", contentsOf(path));
}

TEST_F(DownloadTest, SecondDownloadReplacesTheFirst) {
    rctest::TestServer server(root, R"({"routes": {"/fw/pkg.bin": [
        {"code": 200, "body": "one"}, {"code": 200, "body": "two"}]}})");
    const std::string url = server.baseUrl() + "fw/pkg.bin";
    downloadFile(url, uploads, "f97c5d29941bfb1b2fdab0874906ab82");
    const std::string path = downloadFile(url, uploads, "b8a9f715dbb64fd5c56e7783c6820a61");
    EXPECT_EQ("two", contentsOf(path));
    EXPECT_EQ(std::vector<std::string>{"pkg.bin"}, entries(uploads));
}

TEST_F(DownloadTest, Md5IsCheckedExactly) {
    rctest::TestServer server(root, std::string(R"({"files": {"/fw/fw-2.3.bin": )") +
                                        rctest::json::quote(kFirmware) + "}}");
    const std::string url = server.baseUrl() + "fw/fw-2.3.bin";

    EXPECT_EQ(uploads + "/fw-2.3.bin", downloadFile(url, uploads, kFirmwareMd5));

    // md5sum prints lower case; anything else is a mismatch and the
    // downloaded file goes, also the one that was there before.
    Outcome upper = attempt(url, uploads, kFirmwareMd5Upper);
    EXPECT_EQ("MD5Error", upper.kind);
    EXPECT_EQ("Invalid MD5", upper.message);
    EXPECT_TRUE(entries(uploads).empty());
}

TEST_F(DownloadTest, FailuresLeaveNothingBehind) {
    rctest::TestServer server(root, R"({"routes": {
        "/fw/":          [{"code": 200, "body": "directory listing"}],
        "/fw/moved.bin": [{"code": 302, "redirect": "/fw/pkg.bin"}],
        "/fw/broken":    [{"code": 500, "body": "half a package"}]},
        "files": {"/fw/pkg.bin": "pkg"}})");
    const struct {
        const char* path;
        const char* kind;
        const char* message;
    } cases[] = {
        // The name would be the directory itself, which the rename refuses.
        {"fw/", "CurlError", "Could not downloadFile"},
        {"fw/missing.bin", "CurlError", "Invalid response code: 404"},
        {"fw/moved.bin", "CurlError", "Invalid response code: 302"},
        {"fw/broken", "CurlError", "Invalid response code: 500"},
        {"fw/pkg.bin", "MD5Error", "Invalid MD5"},
    };
    for (const auto& c : cases) {
        Outcome outcome = attempt(server.baseUrl() + c.path, uploads, "0123456789abcdef0123456789abcdef");
        EXPECT_EQ(c.kind, outcome.kind) << c.path;
        EXPECT_EQ(c.message, outcome.message) << c.path;
        EXPECT_TRUE(entries(uploads).empty()) << c.path << " left files behind";
    }
}

TEST_F(DownloadTest, RefusedServerIsATransferErrorAndLeavesNothing) {
    rctest::TestServer server(root, R"({"files": {"/fw/pkg.bin": "pkg"}})", "other");
    Outcome outcome = attempt(server.baseUrl() + "fw/pkg.bin", uploads, "");
    EXPECT_EQ("CurlError", outcome.kind);
    EXPECT_EQ(0u, outcome.message.find("Error sending http request(")) << outcome.message;
    EXPECT_TRUE(entries(uploads).empty());
}

TEST_F(DownloadTest, WrongPasswordIsRefusedAndLeavesNothing) {
    rctest::TestServer server(root, R"({"files": {"/fw/pkg.bin": "pkg"}})");
    root.setConfig("servidorZAT_password", "wrong");
    settings().load();
    Outcome outcome = attempt(server.baseUrl() + "fw/pkg.bin", uploads, "");
    EXPECT_EQ("Invalid response code: 401", outcome.message);
    EXPECT_TRUE(entries(uploads).empty());
}

TEST_F(DownloadTest, MissingTargetDirectoryIsRefusedBeforeAnyTransfer) {
    rctest::TestServer server(root, R"({"files": {"/fw/pkg.bin": "pkg"}})");
    Outcome outcome = attempt(server.baseUrl() + "fw/pkg.bin", uploads + "/absent", "");
    EXPECT_EQ("CurlError", outcome.kind);
    EXPECT_EQ("Could not downloadFile", outcome.message);
    EXPECT_TRUE(server.requests().empty());
}

}  // namespace
