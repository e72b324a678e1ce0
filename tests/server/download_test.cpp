// Firmware downloads from the dev kit's test server into a directory of the
// simulated headend, and the MD5 check through the headend's md5sum: naming,
// replacing, what counts as a match, and that no failure leaves a temporary
// or half-checked file behind.
#include "common/errors.h"
#include "server/download.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/test_server.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace dorel_remote_control;

const char kFirmware[] = "firmware 2.3\n";
const char kFirmwareMd5[] = "40b003dcde2e681579665aca786f6417";

class DownloadTest : public ::testing::Test {
protected:
    void SetUp() override {
        settings() = Settings();
        settings().load(root.env());
        ASSERT_EQ(0, mkdir(uploads.c_str(), 0755));
        root.writeFile("/tmp/fw.bin", kFirmware);
    }

    // Every file in the upload directory, temporary ones included.
    std::vector<std::string> uploaded() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(uploads)) names.push_back(entry.path().filename());
        return names;
    }

    // What a download threw, kind and message ("" on success).
    std::string failureOf(const std::string& url, const std::string& md5, const std::string& dir = "") {
        try {
            downloadFile(root.env(), url, dir.empty() ? uploads : dir, md5);
        } catch (const CurlError& e) {
            return std::string("CurlError: ") + e.what();
        } catch (const MD5Error& e) {
            return std::string("MD5Error: ") + e.what();
        }
        return "";
    }

    void replaceMd5sum(const std::string& script) {
        const std::string path = root.rooted("/usr/bin/md5sum");
        ASSERT_EQ(0, unlink(path.c_str()));
        root.writeFile("/usr/bin/md5sum", "#!/bin/sh\n" + script);
        ASSERT_EQ(0, chmod(path.c_str(), 0755));
    }

    rctest::HeadendRoot root;
    const std::string uploads = root.rooted("/dorel/rc_uploads");
    const std::string firmware = root.rooted("/tmp/fw.bin");
};

TEST_F(DownloadTest, FileIsNamedAfterTheUrlReplacedByTheNextAndCheckedAgainstTheMd5) {
    rctest::TestServer server(root, R"({"routes": {"/fw/fw.bin?v=2": [{"body": "old"}, {"body": "firmware 2.3\n"},
        {"body": "firmware 2.3\n"}]}})");
    const std::string url = server.baseUrl() + "fw/fw.bin?v=2";
    EXPECT_EQ(uploads + "/fw.bin?v=2", downloadFile(root.env(), url, uploads, ""));  // nothing to check
    EXPECT_EQ(uploads + "/fw.bin?v=2", downloadFile(root.env(), url, uploads, kFirmwareMd5));
    EXPECT_EQ(std::vector<std::string>{"fw.bin?v=2"}, uploaded());
    // md5sum prints lower case; the file that was there before goes too.
    EXPECT_EQ("MD5Error: Invalid MD5", failureOf(url, "40B003DCDE2E681579665ACA786F6417"));
    EXPECT_TRUE(uploaded().empty());
    // With the same certificate and credentials as the XML requests.
    EXPECT_TRUE(server.requests().at(0).authOk);
}

TEST_F(DownloadTest, FailuresLeaveNoTemporaryFile) {
    rctest::TestServer server(root, R"({"routes": {"/fw/": [{"body": "directory listing"}]}})");
    const std::string base = server.baseUrl();
    const std::string cases[][3] = {
        // The name would be the directory itself, which the rename refuses.
        {base + "fw/", "", "CurlError: Could not downloadFile"},
        {base + "fw/missing.bin", "", "CurlError: Invalid response code: 404"},
        // libcurl's own text for the code, which its releases word as they like.
        {"https://127.0.0.1:1/fw/pkg.bin", "",
         std::string("CurlError: Error sending http request(7): ") + curl_easy_strerror(CURLE_COULDNT_CONNECT) + ": "},
        {base + "fw/pkg.bin", uploads + "/absent", "CurlError: Could not downloadFile"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(0u, failureOf(c[0], "", c[1]).find(c[2])) << c[0];
        EXPECT_TRUE(uploaded().empty()) << c[0] << " left files behind";
    }
}

TEST_F(DownloadTest, Md5CheckTakesOnlyTheWholeSumMd5sumPrinted) {
    EXPECT_TRUE(md5Matches(root.env(), firmware, kFirmwareMd5));
    EXPECT_FALSE(md5Matches(root.env(), firmware, std::string(kFirmwareMd5).substr(0, 31)));
    root.writeFile("/tmp/back\\slash", kFirmware);  // md5sum puts a backslash before its sum
    EXPECT_TRUE(md5Matches(root.env(), root.rooted("/tmp/back\\slash"), kFirmwareMd5));
    const std::pair<const char*, const char*> unusable[] = {
        {"exit 1\n", "Could not read md5sum result"},
        {"echo 'abc  /tmp/fw.bin'\n", "MD5 has not 16 bytes"},
        {"echo '40b003dcde2e681579665aca786f6417'\n", "MD5 has not 16 bytes"},  // no blank at all
    };
    for (const auto& c : unusable) {
        replaceMd5sum(c.first);
        root.env().clearLog();
        EXPECT_FALSE(md5Matches(root.env(), firmware, kFirmwareMd5)) << c.first;
        EXPECT_TRUE(root.env().contains(c.second)) << c.first << root.env().dump();
    }
}

}  // namespace
