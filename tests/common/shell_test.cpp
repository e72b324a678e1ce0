// Texts from the server or the database end up on shell command lines.
#include "common/fs.h"
#include "common/paths.h"
#include "common/shell.h"
#include "temp_root.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>

namespace {

using namespace dorel_remote_control;

TEST(ShellQuote, OrdinaryValuesKeepTheirDoubleQuotes) {
    EXPECT_EQ("\"10.9.0.1\"", shellQuote("10.9.0.1"));
    EXPECT_EQ("\"/dorel/rc_uploads/fw 2.3.bin\"", shellQuote("/dorel/rc_uploads/fw 2.3.bin"));
    EXPECT_EQ("\"it's\"", shellQuote("it's"));
    EXPECT_EQ("\"\"", shellQuote(""));
}

TEST(ShellQuote, HostileValuesRunNothing) {
    TempRoot root;
    const std::string marker = root.path() + "/marker";
    const std::vector<std::string> hostile = {
        "$(touch " + marker + ")", "`touch " + marker + "`", "\"; touch " + marker + "; \"",
        "x\ntouch " + marker,      "\\\"; touch " + marker + " #", "'; touch " + marker + "; '",
        "$HOME\\`'\"",
    };
    for (const std::string& value : hostile) {
        ReadPipe pipe("printf '%s' " + shellQuote(value));
        std::string out, line;
        while (pipe.readLine(line, 4096)) out += line;
        EXPECT_EQ(0, pipe.close());
        EXPECT_EQ(value, out) << "the value reaches the program unchanged";
        EXPECT_FALSE(fileExists(marker)) << value;
    }
}

TEST(Shell, ExitCodesAndLines) {
    EXPECT_EQ(0, runShell("true"));
    EXPECT_EQ(3, runShell("exit 3"));
    EXPECT_EQ(127, runShell("/nonexistent/program"));
    ReadPipe pipe("printf 'value  \\r\\nOK\\t\\n'");
    std::string line;
    ASSERT_TRUE(pipe.readLine(line));
    EXPECT_EQ("value", trimRight(line));
    ASSERT_TRUE(pipe.readLine(line));
    EXPECT_EQ("OK", trimRight(line));
    EXPECT_FALSE(pipe.readLine(line));
}

TEST(Paths, RootPrefixesEveryFixedPath) {
    unsetenv("REMOTE_CONTROL_ROOT");
    EXPECT_EQ("/usr/bin/md5sum", paths::md5sum());
    EXPECT_EQ("hostname", paths::hostnameCommand());
    EXPECT_EQ("reboot", paths::rebootCommand());
    {
        TempRoot root;
        EXPECT_EQ(root.path() + "/bin/hostname", paths::hostnameCommand());
        EXPECT_EQ(root.path() + "/sbin/reboot", paths::rebootCommand());
    }
    setenv("REMOTE_CONTROL_ROOT", "/tmp/odd root$x", 1);
    EXPECT_EQ("'/tmp/odd root$x/dorel/bin/QuorKey'", paths::quorKey()) << "a root the shell would expand is quoted";
    unsetenv("REMOTE_CONTROL_ROOT");
}

TEST(FileSystem, MakePathAndRemoveTree) {
    TempRoot root;
    const std::string deep = root.path() + "/a/b/c";
    ASSERT_EQ(0, makePath(deep, 0755));
    EXPECT_EQ(0, makePath(deep, 0755)) << "an existing directory is fine";
    ASSERT_TRUE(writeFileAtomic(deep + "/f", "x"));
    EXPECT_EQ(-1, makePath(deep + "/f/g", 0755));
    EXPECT_EQ(ENOTDIR, errno);
    ASSERT_EQ(0, removeTree(root.path() + "/a"));
    EXPECT_FALSE(fileExists(root.path() + "/a"));
    EXPECT_EQ(-1, removeTree(root.path() + "/a")) << "a missing tree is a failure";
}

}  // namespace
