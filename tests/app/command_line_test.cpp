// The agent binary's command line and its single-instance guard, run for real
// under a simulated headend.
#include "agent_process.h"
#include "support/headend_root.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <regex>
#include <sys/file.h>
#include <unistd.h>

namespace {

using rctest::AgentRun;
using rctest::runAgent;

const std::string kProgram = RC_AGENT_BINARY;

class CommandLine : public ::testing::Test {
protected:
    rctest::HeadendRoot root;
    std::string pidFile() const { return root.rooted("/var/run/remote-control.pid"); }
};

TEST_F(CommandLine, HelpPrintsTheUsageAndSucceeds) {
    AgentRun run = runAgent({"-h"});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_EQ("", run.err);
    EXPECT_EQ(0u, run.out.find("usage: " + kProgram + " [ -pdoxvh ] configDB tmpDB modelo\n")) << run.out;
    EXPECT_EQ(run.out, runAgent({"--help", "--bogus"}).out) << "help wins as soon as it is seen";
}

TEST_F(CommandLine, VersionPrintsTheBuildAndTouchesNothing) {
    AgentRun run = runAgent({"-v", "-p", pidFile()});
    EXPECT_EQ(0, run.exitCode);
    EXPECT_TRUE(std::regex_match(run.out, std::regex("\nVersion: 1\\.7\n"
                                                     "Compilation date: [A-Z][a-z]{2} [ 0-9]\\d \\d{4}\n"
                                                     "Time: \\d\\d:\\d\\d:\\d\\d\n")))
        << run.out;
    EXPECT_FALSE(root.exists("/var/run/remote-control.pid"));
    EXPECT_EQ(0, runAgent({"--version"}).exitCode);
}

TEST_F(CommandLine, BadOptionsPointToHelpAndPositionalArgumentsChangeNothing) {
    const std::string hint = "Try `" + kProgram + " --help' for more information.\n";
    const std::pair<std::vector<std::string>, int> cases[] = {
        {{"--bogus"}, 1}, {{"-z"}, 1}, {{"-p"}, 1}, {{"--pidfile"}, 1}, {{"-o", "--once=3"}, 1},
        {{"-o", "-x", "-p", pidFile(), "config.db", "tmp.db", "KVB-200"}, 0},
    };
    for (const auto& c : cases) {
        AgentRun run = runAgent(c.first);
        EXPECT_EQ(c.second, run.exitCode) << c.first.back();
        EXPECT_EQ("", run.out) << c.first.back();
        EXPECT_EQ(c.second == 1, run.err.find(hint) != std::string::npos) << run.err;
    }
}

TEST_F(CommandLine, ALivePidFileRefusesASecondInstanceAndAStaleOneIsTakenOver) {
    const std::string dead = std::to_string(runAgent({"-h"}).pid) + "\n";  // ended, and reaped
    // A live process (this test) holds the pid file.
    const std::string live = std::to_string(getpid()) + "\n";
    for (const std::string& held : {live, dead, std::string("garbage"), std::string("")}) {
        root.writeFile("/var/run/remote-control.pid", held);
        AgentRun run = runAgent({"-o", "-p", pidFile()});
        EXPECT_EQ(held == live ? 1 : 0, run.exitCode) << held << run.err;
        EXPECT_EQ(held == live, run.err.find("already running") != std::string::npos) << run.err;
        EXPECT_EQ(held == live ? live : std::to_string(run.pid) + "\n", root.readFile("/var/run/remote-control.pid"));
    }
    // One starting in the same instant holds the lock but has not written yet.
    unlink(pidFile().c_str());
    int lock = open((pidFile() + ".lock").c_str(), O_RDWR | O_CREAT, 0644);
    ASSERT_EQ(0, flock(lock, LOCK_EX));
    EXPECT_EQ(1, runAgent({"-o", "-p", pidFile()}).exitCode);
    close(lock);
}

TEST_F(CommandLine, DaemonModeDetachesSilentlyAndStillRunsOnce) {
    rctest::TestServer server(root, "{}");
    server.configureAgent();
    root.setConfig("servidorZAT_activo", "1");
    AgentRun run = runAgent({"-d", "-o", "-p", pidFile()});
    EXPECT_EQ(0, run.exitCode);
    // The detached process wrote its own pid, not the parent's, and prints
    // nothing (a process in the foreground echoes the server's replies).
    for (int i = 0; i < 100 && !root.exists("/var/run/remote-control.pid"); ++i) usleep(50000);
    const std::string pid = root.readFile("/var/run/remote-control.pid");
    ASSERT_FALSE(pid.empty());
    EXPECT_NE(std::to_string(run.pid) + "\n", pid);
    for (int i = 0; i < 200 && kill(std::stoi(pid), 0) == 0; ++i) usleep(50000);
    EXPECT_EQ("", run.out + run.err);
    EXPECT_FALSE(server.requests().empty()) << "the detached pass ran";
}

}  // namespace
