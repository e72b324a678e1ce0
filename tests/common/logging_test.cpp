// The operator's logging switch: debug.conf, the mask, and noticing a change.
#include "common/dorelcommon.h"
#include "common/fs.h"
#include "common/log.h"
#include "temp_root.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <sys/inotify.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

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
    writeConf("# mask per program\n"
              "other-program 0xff\n"
              "\n"
              "   remote-control\t0x13   # verbose\n"
              "remote-control-extra 7\n");
    unsigned long mask = 99;
    configure_global_syslog(nullptr, "remote-control", &mask, -1);
    EXPECT_EQ(0x13ul, mask);

    writeConf("remote-control 16\n");
    configure_global_syslog(nullptr, "remote-control", &mask, -1);
    EXPECT_EQ(16ul, mask) << "decimal masks work too";

    writeConf("remote-control\n# only a name\nremote-control junk\n");
    configure_global_syslog(nullptr, "remote-control", &mask, -1);
    EXPECT_EQ(0ul, mask) << "a line without a usable mask leaves the mask at 0";

    unlink((root.path() + "/dorel/conf/debug.conf").c_str());
    mask = 5;
    configure_global_syslog(nullptr, "remote-control", &mask, -1);
    EXPECT_EQ(0ul, mask) << "no file, no logging";
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

TEST(LogSwitch, NothingIsLoggedWithoutTheEnableBit) {
    std::vector<std::string> lines;
    ScopedLogSink sink([&](int, const std::string& line) { lines.push_back(line); });
    unsigned long saved = debugMask;
    debugMask = 0xEF;
    logf(3, "hidden %d", 1);
    debugMask = 0x10;
    logf(3, "shown %d", 2);
    logf(7, "%s", std::string(2000, 'x').c_str());
    logAlways(59, "always %s", "there");
    debugMask = saved;
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ("shown 2", lines[0]);
    EXPECT_EQ(2000u, lines[1].size()) << "long lines are not cut";
    EXPECT_EQ("always there", lines[2]);
}

// Without a sink of their own the lines go to syslog, which formats them
// itself; LOG_PERROR copies what it would send to standard error, where the
// test reads it. Sinks nest, and each one removed gives the lines back to the
// one before it.
TEST(LogSwitch, SinksNestAndWithoutOneTheLinesGoToSyslogWhole) {
    const unsigned long saved = debugMask;
    debugMask = kLogEnableBit;
    std::vector<std::string> outer;
    std::vector<std::string> inner;
    TempRoot root;
    const std::string errors = root.path() + "/stderr";
    const int stderrCopy = dup(STDERR_FILENO);
    const int file = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ASSERT_GE(file, 0);
    fflush(stderr);
    dup2(file, STDERR_FILENO);
    close(file);
    openlog("rc-test", LOG_PERROR, LOG_USER);
    {
        ScopedLogSink first([&](int, const std::string& line) { outer.push_back(line); });
        {
            ScopedLogSink second([&](int, const std::string& line) { inner.push_back(line); });
            logf(7, "to the inner %d", 1);
        }
        logf(7, "to the outer %s", "again");
    }
    logf(7, "to syslog %s %d %c", "text", -5, 'z');
    logf(3, "%s", std::string(1500, 'y').c_str());
    logAlways(59, "always %s", "there");
    debugMask = 0;
    logf(3, "hidden %d", 3);
    closelog();
    fflush(stderr);
    dup2(stderrCopy, STDERR_FILENO);
    close(stderrCopy);
    debugMask = saved;

    EXPECT_EQ(std::vector<std::string>{"to the inner 1"}, inner);
    EXPECT_EQ(std::vector<std::string>{"to the outer again"}, outer);
    std::string written;
    ASSERT_TRUE(readFile(errors, written));
    EXPECT_EQ("rc-test: to syslog text -5 z\n"
              "rc-test: " + std::string(1500, 'y') + "\n"
              "rc-test: always there\n",
              written);
}

}  // namespace
