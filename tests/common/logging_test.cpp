// The operator's logging switch: debug.conf, the mask, and noticing a change.
#include "common/dorelcommon.h"
#include "common/fs.h"
#include "support/test_env.h"
#include "temp_root.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sys/inotify.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace dorel_remote_control;

class Logging : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(0, makePath(root.path + "/dorel/conf", 0755)); }
    void TearDown() override { close(fd); }  // -1 when inotify failed: nothing to close
    void writeConf(const std::string& text) {
        ASSERT_TRUE(writeFileAtomic(root.path + "/dorel/conf/debug.conf", text));
    }

    TempRoot root;
    int fd = inotify_init1(IN_NONBLOCK);
};

TEST_F(Logging, MaskComesFromTheProgramsLine) {
    const std::pair<const char*, unsigned long> cases[] = {  // conf null: no file
        {nullptr, 0},
        {"# mask per program\nother-program 0xff\n\n   remote-control\t0x13   # verbose\nremote-control-extra 7\n",
         0x13},
        {"remote-control 16\n", 16},
        {"remote-control\n# only a name\nremote-control junk\n", 0},
    };
    for (const auto& c : cases) {
        if (c.first) writeConf(c.first);
        unsigned long mask = 99;
        configure_global_syslog(nullptr, "remote-control", &mask, -1);
        EXPECT_EQ(c.second, mask) << (c.first ? c.first : "no file");
    }
}

TEST_F(Logging, ARewrittenFileIsNoticedOnce) {
    writeConf("remote-control 0x10\n");
    unsigned long mask = 0;
    int watch = configure_global_syslog(nullptr, "remote-control", &mask, fd);
    ASSERT_GE(watch, 0);
    EXPECT_EQ(0, wait_for_inotify_changes(fd, watch)) << "nothing changed yet";

    // Another file in the same directory is not a change of the logging setup.
    ASSERT_TRUE(writeFileAtomic(root.path + "/dorel/conf/other.conf", "x"));
    EXPECT_EQ(0, wait_for_inotify_changes(fd, watch));

    writeConf("remote-control 0x0\n");  // written beside it, then renamed over it
    EXPECT_NE(0, wait_for_inotify_changes(fd, watch));
    EXPECT_EQ(0, wait_for_inotify_changes(fd, watch)) << "the change is reported once";

    std::ofstream(root.path + "/dorel/conf/debug.conf") << "remote-control 0x10\n";  // edited in place
    EXPECT_NE(0, wait_for_inotify_changes(fd, watch));
}

// Only the enable bit of the mask lets the agent's lines through; the few
// lines the log collector expects go whatever the mask says.
TEST(EnvLog, TheEnableBitDecidesExceptForTheCollectorsLines) {
    rctest::TestEnv env("/nonexistent");
    env.debugMask() = 0xEF;
    env.log(3, "hidden %d", 1);
    env.logAlways(LOG_LOCAL0 | LOG_INFO, "always %s", "there");
    env.debugMask() = kLogEnableBit;
    env.log(7, "shown %d", 2);
    EXPECT_EQ("<134> always there\n<7> shown 2\n", env.dump());
}

}  // namespace
