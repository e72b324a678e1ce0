// The MD5 check through the headend's md5sum, and file names from URLs that
// try to break out of the md5sum command line.
#include "server/download.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/json_reader.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace dorel_remote_control;

const char kFirmware[] = "firmware 2.3\n";
const char kFirmwareMd5[] = "40b003dcde2e681579665aca786f6417";

// Names that would run a command if they reached the shell unquoted or in
// plain double quotes. Each tries to create its own marker in the current
// directory.
const char* const kHostileNames[] = {
    "a\"$(touch${IFS}marker-subst)\"b",
    "a`touch${IFS}marker-tick`b",
    "a;touch${IFS}marker-semi;b",
    "a'$(touch${IFS}marker-single)'b",
    "a\\\"$(touch${IFS}marker-backslash)",
};

// Runs the test from a scratch directory, so that a relative marker written
// by an escaped command lands where the test looks for it.
class ScopedChdir {
public:
    explicit ScopedChdir(const std::string& dir) {
        char* previous = getcwd(nullptr, 0);
        if (previous) previous_ = previous;
        free(previous);
        if (chdir(dir.c_str()) != 0) ADD_FAILURE() << "cannot enter " << dir;
    }
    ~ScopedChdir() {
        if (!previous_.empty() && chdir(previous_.c_str()) != 0) {
            ADD_FAILURE() << "cannot return to " << previous_;
        }
    }
    ScopedChdir(const ScopedChdir&) = delete;
    ScopedChdir& operator=(const ScopedChdir&) = delete;

private:
    std::string previous_;
};

class Md5CheckTest : public ::testing::Test {
protected:
    void SetUp() override {
        settings() = Settings();
        settings().load();
        ASSERT_EQ(0, mkdir(scratch.c_str(), 0755));
    }

    // Puts a script in place of the headend's md5sum.
    void replaceMd5sum(const std::string& body) {
        const std::string path = root.rooted("/usr/bin/md5sum");
        ASSERT_EQ(0, unlink(path.c_str()));
        root.writeFile("/usr/bin/md5sum", "#!/bin/sh\n" + body);
        ASSERT_EQ(0, chmod(path.c_str(), 0755));
    }

    std::vector<std::string> markers() const {
        std::vector<std::string> found;
        for (const char* name : {"marker-subst", "marker-tick", "marker-semi", "marker-single",
                                 "marker-backslash"}) {
            if (root.exists("/tmp/scratch/" + std::string(name))) found.push_back(name);
        }
        return found;
    }

    rctest::HeadendRoot root;
    const std::string scratch = root.rooted("/tmp/scratch");
};

TEST_F(Md5CheckTest, ComparesTheWholeTextCaseSensitively) {
    root.writeFile("/tmp/fw.bin", kFirmware);
    const std::string path = root.rooted("/tmp/fw.bin");
    const std::string md5 = kFirmwareMd5;

    EXPECT_TRUE(md5Matches(path, md5));
    std::string upper = md5;
    for (char& c : upper) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    EXPECT_FALSE(md5Matches(path, upper));
    EXPECT_FALSE(md5Matches(path, md5.substr(0, 31)));
    EXPECT_FALSE(md5Matches(path, md5 + " "));
    EXPECT_FALSE(md5Matches(path, md5 + "\n"));
}

TEST_F(Md5CheckTest, EmptyExpectationRunsNothing) {
    const std::string calls = root.rooted("/devkit/md5sum.calls");
    replaceMd5sum("echo \"$@\" >> '" + calls + "'\nexec /usr/bin/md5sum \"$@\"\n");

    EXPECT_TRUE(md5Matches(root.rooted("/tmp/does-not-exist"), ""));
    EXPECT_FALSE(root.exists("/devkit/md5sum.calls"));

    // ... while a real check goes through the headend's md5sum.
    root.writeFile("/tmp/fw.bin", kFirmware);
    EXPECT_TRUE(md5Matches(root.rooted("/tmp/fw.bin"), kFirmwareMd5));
    EXPECT_EQ(root.rooted("/tmp/fw.bin") + "\n", root.readFile("/devkit/md5sum.calls"));
}

TEST_F(Md5CheckTest, UnusableMd5sumOutputIsAMismatch) {
    root.writeFile("/tmp/fw.bin", kFirmware);
    const std::string path = root.rooted("/tmp/fw.bin");
    const struct {
        const char* script;
        const char* logged;
    } cases[] = {
        {"exit 1\n", "Could not read md5sum result"},
        {"echo 'abc  /tmp/fw.bin'\n", "MD5 has not 16 bytes"},
        {"echo '40b003dcde2e681579665aca786f6417'\n", "MD5 has not 16 bytes"},
        {"echo ' 40b003dcde2e681579665aca786f6417  x'\n", "MD5 has not 16 bytes"},
        {"echo '40b003dcde2e681579665aca786f64170  x'\n", "MD5 has not 16 bytes"},
    };
    for (const auto& c : cases) {
        replaceMd5sum(c.script);
        rctest::LogCapture log;
        EXPECT_FALSE(md5Matches(path, kFirmwareMd5)) << c.script;
        EXPECT_TRUE(log.contains(c.logged)) << c.script << log.dump();
    }

    // A missing file: md5sum complains on its error output only.
    replaceMd5sum("exec /usr/bin/md5sum \"$@\" 2>/dev/null\n");
    rctest::LogCapture log;
    EXPECT_FALSE(md5Matches(root.rooted("/tmp/absent.bin"), kFirmwareMd5));
    EXPECT_TRUE(log.contains("Could not read md5sum result")) << log.dump();
}

TEST_F(Md5CheckTest, AwkwardFileNamesAreCheckedAndRunNothing) {
    ScopedChdir inScratch(scratch);
    std::vector<std::string> names(std::begin(kHostileNames), std::end(kHostileNames));
    // md5sum escapes these in its output with a leading backslash.
    names.push_back("line\nbreak");
    names.push_back("back\\slash");
    for (const std::string& name : names) {
        root.writeFile("/tmp/" + name, kFirmware);
        EXPECT_TRUE(md5Matches(root.rooted("/tmp/" + name), kFirmwareMd5)) << name;
    }
    EXPECT_TRUE(markers().empty()) << "a file name ran a command";
}

TEST_F(Md5CheckTest, HostileNameFromTheServerRunsNothing) {
    std::string files;
    for (const char* name : kHostileNames) {
        if (!files.empty()) files += ", ";
        files += rctest::json::quote(std::string("/fw/") + name) + ": " +
                 rctest::json::quote(kFirmware);
    }
    rctest::TestServer server(root, "{\"files\": {" + files + "}}");
    const std::string uploads = root.rooted("/dorel/rc_uploads");
    ASSERT_EQ(0, mkdir(uploads.c_str(), 0755));
    ScopedChdir inScratch(scratch);

    for (const char* name : kHostileNames) {
        // The MD5 is given, so the name does reach the md5sum command line.
        std::string path;
        EXPECT_NO_THROW(path = downloadFile(server.baseUrl() + "fw/" + name, uploads, kFirmwareMd5))
            << name;
        EXPECT_EQ(uploads + "/" + name, path);
    }
    EXPECT_TRUE(markers().empty()) << "a file name ran a command";
}

}  // namespace
