// The operator's logging switch: debug.conf, the mask, and noticing a change.
#include "common/dorelcommon.h"
#include "common/env.h"
#include "common/fs.h"
#include "temp_root.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <sys/inotify.h>
#include <syslog.h>
#include <unistd.h>

namespace {

using namespace dorel_remote_control;

class Logging : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0, makePath(root.path() + "/dorel/conf", 0755)); }
    void TearDown() override {
        if (fd >= 0) close(fd);
    }
    void writeConf(const std::string& text) {
        ASSERT_TRUE(writeFileAtomic(root.path() + "/dorel/conf/debug.conf", text));
    }

    TempRoot root;
    int fd = inotify_init1(IN_NONBLOCK);
};

TEST_F(Logging, MaskComesFromTheProgramsLine) {
    const struct {
        const char* conf;  // null: no file
        unsigned long mask;
    } cases[] = {
        {"# mask per program\nother-program 0xff\n\n   remote-control\t0x13   # verbose\nremote-control-extra 7\n",
         0x13},
        {"remote-control 16\n", 16},
        {"remote-control\n# only a name\nremote-control junk\n", 0},
        {nullptr, 0},
    };
    for (const auto& c : cases) {
        if (c.conf) writeConf(c.conf);
        if (!c.conf) unlink((root.path() + "/dorel/conf/debug.conf").c_str());
        unsigned long mask = 99;
        configure_global_syslog(nullptr, "remote-control", &mask, -1);
        EXPECT_EQ(c.mask, mask) << (c.conf ? c.conf : "no file");
    }
}

TEST_F(Logging, ARewrittenFileIsNoticedOnce) {
    writeConf("remote-control 0x10\n");
    unsigned long mask = 0;
    int watch = configure_global_syslog(nullptr, "remote-control", &mask, fd);
    ASSERT_GE(watch, 0);
    EXPECT_EQ(0, wait_for_inotify_changes(fd, watch)) << "nothing changed yet";

    // Another file in the same directory is not a change of the logging setup.
    ASSERT_TRUE(writeFileAtomic(root.path() + "/dorel/conf/other.conf", "x"));
    EXPECT_EQ(0, wait_for_inotify_changes(fd, watch));

    writeConf("remote-control 0x0\n");  // written beside it, then renamed over it
    EXPECT_NE(0, wait_for_inotify_changes(fd, watch));
    EXPECT_EQ(0, wait_for_inotify_changes(fd, watch)) << "the change is reported once";

    watch = configure_global_syslog(nullptr, "remote-control", &mask, fd);
    EXPECT_EQ(0ul, mask);

    FILE* f = fopen((root.path() + "/dorel/conf/debug.conf").c_str(), "w");  // edited in place
    fputs("remote-control 0x10\n", f);
    fclose(f);
    EXPECT_NE(0, wait_for_inotify_changes(fd, watch));
}

// The agent's own Env hands its lines to syslog, which formats them itself;
// LOG_PERROR copies what it would send to standard error, where the test
// reads it.
TEST(EnvLog, LinesGoToSyslogWholeAndOnlyWithTheEnableBitUnlessAlways) {
    TempRoot root;
    const std::string errors = root.path() + "/stderr";
    const int stderrCopy = dup(STDERR_FILENO);
    const int file = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(file, 0);
    fflush(stderr);
    dup2(file, STDERR_FILENO);
    close(file);
    openlog("rc-test", LOG_PERROR, LOG_USER);
    Env env(root.path());
    env.log(3, "hidden %d", 1);
    env.debugMask() = 0xEF;
    env.log(3, "hidden %d", 2);
    env.logAlways(LOG_LOCAL0 | LOG_INFO, "always %s", "there");
    env.debugMask() = kLogEnableBit;
    env.log(7, "to syslog %s %d %c", "text", -5, 'z');
    env.log(3, "%s", std::string(1500, 'y').c_str());
    closelog();
    fflush(stderr);
    dup2(stderrCopy, STDERR_FILENO);
    close(stderrCopy);

    std::string written;
    ASSERT_TRUE(readFile(errors, written));
    EXPECT_EQ("rc-test: always there\n"
              "rc-test: to syslog text -5 z\n"
              "rc-test: " + std::string(1500, 'y') + "\n",
              written);
}

}  // namespace
