// The one way the agent runs the headend's programs: the command line it logs,
// what the program gets, and what becomes of one that cannot start or hangs.
// The programs are sh scripts the tests put at the programs' paths under a
// bare root.
#include "common/fs.h"
#include "common/programs.h"
#include "support/test_env.h"
#include "temp_root.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace dorel_remote_control;
using Quoting = ProgramArgument::Quoting;

TEST(ProgramCommandLine, ReadsAsTheHeadendsShellLineAndShowsAnythingElseSingleQuoted) {
    const Paths headend("");
    EXPECT_EQ("/dorel/bin/clienteXMLRPC \"10.9.0.1\" GetTable TempDB alarmasEstado 'WHERE 1'",
              commandLine(headend, {Program::kClienteXmlRpcStatus,
                                    {{"10.9.0.1", ProgramArgument::kDouble}, "GetTable", "TempDB", "alarmasEstado",
                                     {"WHERE 1", ProgramArgument::kSingle}}}));
    EXPECT_EQ("hostname", commandLine(headend, {Program::kHostname}));
    EXPECT_EQ("'/tmp/odd root$x/sbin/reboot'", commandLine(Paths("/tmp/odd root$x"), {Program::kReboot}));
    const struct {
        const char* text;
        Quoting quoting;
        const char* shown;
    } ordinary[] = {
        {"/dorel/rc_uploads/fw 2.3.bin", ProgramArgument::kDouble, "\"/dorel/rc_uploads/fw 2.3.bin\""},
        {"it's", ProgramArgument::kDouble, "\"it's\""}, {"it's", ProgramArgument::kBare, "'it'\\''s'"},
        {"1024", ProgramArgument::kBare, "1024"},          {"", ProgramArgument::kBare, "''"},
        {"a;b", ProgramArgument::kBare, "'a;b'"},          {"plain", ProgramArgument::kSingle, "'plain'"},
    };
    for (const auto& c : ordinary)
        EXPECT_EQ(std::string("/dorel/bin/QuorKey ") + c.shown,
                  commandLine(headend, {Program::kQuorKey, {{c.text, c.quoting}}})) << c.text;
    for (const char* hostile : {"$(touch x)", "`touch x`", "say \"hi\"", "x\ny", "a\\b"}) {
        for (Quoting quoting : {ProgramArgument::kBare, ProgramArgument::kDouble, ProgramArgument::kSingle})
            EXPECT_EQ("/dorel/bin/QuorKey '" + std::string(hostile) + "'",
                      commandLine(headend, {Program::kQuorKey, {{hostile, quoting}}}));
    }
}

class Programs : public ::testing::Test {
protected:
    // Puts an sh script at the program's path under the root.
    void script(Program program, const std::string& body) {
        const std::string path = programPath(env.paths(), program);
        ASSERT_EQ(0, makePath(path.substr(0, path.rfind('/')), 0755));
        ASSERT_TRUE(writeFileAtomic(path, "#!/bin/sh\n" + body));
        ASSERT_EQ(0, chmod(path.c_str(), 0755));
    }

    TempRoot root;
    rctest::TestEnv env{root.path};
};

TEST_F(Programs, EachArgumentReachesTheProgramAsItIsAndNoShellNorDescriptorOfTheAgents) {
    // No close-on-exec, and a number no shell uses for itself.
    const int opened = open(root.path.c_str(), O_RDONLY);
    const int inherited = dup2(opened, 57);
    close(opened);
    ASSERT_EQ(57, inherited);
    script(Program::kQuorKey, "printf '[%s]' \"$@\"; readlink /proc/$$/fd/0; ls /proc/$$/fd\n");
    const std::string marker = root.path + "/marker";
    const std::string values[] = {"$(touch " + marker + ")", "`touch " + marker + "`", "\"; touch " + marker + "; \"",
                                  "'; touch " + marker + "; '", "x\ntouch " + marker, "a;touch " + marker, "",
                                  "two  words"};
    ProgramCall call(Program::kQuorKey);
    std::string expected;
    for (const std::string& value : values) {
        call.arguments.emplace_back(value, ProgramArgument::kDouble);
        expected += "[" + value + "]";
    }
    const ProgramResult result = env.run(call, 4096);
    close(inherited);
    EXPECT_EQ(0, result.exitCode);
    EXPECT_EQ(0u, result.output.find(expected + "/dev/null\n")) << "standard input is /dev/null";
    EXPECT_EQ(std::string::npos, result.output.find("\n57\n")) << result.output;
    EXPECT_NE(0, access(marker.c_str(), F_OK)) << "a value ran a command";
}

TEST_F(Programs, OutputIsKeptUpToTheLimitAndTheExitStatusComesBackOrMinusOne) {
    // Far more than a pipe holds: the rest must be read away, or the program
    // would never end.
    script(Program::kMd5sum, "echo first line; head -c 200000 /dev/zero; exit 5\n");
    const ProgramResult result = env.run({Program::kMd5sum}, 100);
    EXPECT_EQ(5, result.exitCode);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ("first line\n" + std::string(89, '\0'), result.output);

    script(Program::kSerial, "kill -KILL $$\n");
    EXPECT_EQ(-1, env.run({Program::kSerial}).exitCode) << "killed by a signal";
    // Without a root, hostname is looked up in PATH, as on the headend.
    script(Program::kHostname, "exit 4\n");
    const std::string path = getenv("PATH");
    setenv("PATH", (root.path + "/bin:" + path).c_str(), 1);
    rctest::TestEnv headend("");
    EXPECT_EQ(4, headend.run({Program::kHostname}).exitCode);
    setenv("PATH", path.c_str(), 1);

    // One that cannot start gives -1 and a line saying why.
    const ProgramCall call(Program::kWanFromDb, {{"$(x)", ProgramArgument::kDouble}});
    EXPECT_EQ(-1, env.run(call).exitCode);
    script(Program::kWanFromDb, "exit 0\n");
    ASSERT_EQ(0, chmod(programPath(env.paths(), Program::kWanFromDb).c_str(), 0644));
    EXPECT_EQ(-1, env.run(call).exitCode);
    const std::string start = "Could not start " + root.path + "/dorel/script/WAN_from_DB.sh '$(x)': ";
    EXPECT_EQ(1, env.count(start + "No such file or directory")) << env.dump();
    EXPECT_EQ(1, env.count(start + "Permission denied")) << env.dump();
}

// A pid that is gone, or a zombie left to whoever adopted it: nothing runs.
bool ended(pid_t pid) {
    for (int i = 0; i < 200; ++i) {
        if (kill(pid, 0) != 0 && errno == ESRCH) return true;
        std::string stat;
        if (readFile("/proc/" + std::to_string(pid) + "/stat", stat) && stat.compare(stat.rfind(')') + 2, 1, "Z") == 0)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST_F(Programs, AHungProgramIsStoppedAtItsTimeOutWithEverythingItStarted) {
    const std::string pids = root.path + "/pids";
    script(Program::kCrond, "sleep 100 &\necho $! $$ > " + pids + "\nwait\n");
    env.setTimeoutMillis(Program::kCrond, 500);
    const auto started = std::chrono::steady_clock::now();
    const ProgramResult result = env.run({Program::kCrond, {"restart"}});
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    EXPECT_TRUE(result.timedOut);
    EXPECT_EQ(-1, result.exitCode);
    EXPECT_EQ(1, env.count(root.path + "/etc/init.d/S60crond restart did not end within its time-out of 0.5 s"))
        << env.dump();

    std::string text;
    int child = 0, shell = 0;
    ASSERT_TRUE(readFile(pids, text) && sscanf(text.c_str(), "%d %d", &child, &shell) == 2) << text;
    EXPECT_TRUE(ended(child)) << "the script's own child is left running";
    if (!ended(child)) kill(child, SIGKILL);
    EXPECT_TRUE(ended(shell));

    script(Program::kCrond, "exit 0\n");
    EXPECT_EQ(0, env.run({Program::kCrond, {"restart"}}).exitCode) << "the next call runs as ever";
}

}  // namespace
