// The values where a 32-bit controller and a 64-bit build machine part ways:
// numbers beyond 32 bits and directories whose entries carry 64-bit offsets.
// (Moments after January 2038 are the scheduled commands' tests, the poll
// interval the settings'.) The suite
// runs on both (natively and as the armhf build under qemu-user), and each
// case must come out the same there.
#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "common/fs.h"
#include "common/numbers.h"
#include "support/headend_root.h"
#include "temp_root.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>
#include <unistd.h>
#include <utility>

namespace rctest {
namespace {

using namespace dorel_remote_control;

TEST(ThirtyTwoBitEdges, NumbersFromTextSaturateAsOnTheController) {
    const std::pair<const char*, int32_t> decimal[] = {
        {"2147483647", INT32_MAX}, {"2147483648", INT32_MAX}, {"-2147483648", INT32_MIN},
        {"-2147483649", INT32_MIN}, {" 42abc", 42}, {"abc", 0},
    };
    for (const auto& c : decimal) EXPECT_EQ(c.second, atoi32(c.first)) << c.first;

    const struct {
        const char* text;
        int base;
        uint32_t value;
        bool overflow;
    } unsignedCases[] = {
        {"ffffffff", 16, 0xFFFFFFFFu, false}, {"100000001", 16, 0xFFFFFFFFu, true}, {"0x10", 0, 0x10u, false},
        {"-1", 10, 0xFFFFFFFFu, false},       {"-4294967296", 10, 0xFFFFFFFFu, true}, {"zz", 16, 0u, false},
    };
    for (const auto& c : unsignedCases) {
        errno = 0;
        char* end = nullptr;
        EXPECT_EQ(c.value, strtoul32(c.text, &end, c.base)) << c.text;
        EXPECT_EQ(c.overflow, errno == ERANGE) << c.text;
        EXPECT_EQ(c.text == std::string("zz"), end == c.text) << c.text;
    }
}

TEST(ThirtyTwoBitEdges, ACommandIdBeyond32BitsSaturates) {
    HeadendRoot root{{"--no-certs"}};
    const auto command =
        createCommand(root.env(), "<command><id>4294967297</id><data><getScheduledCommands/></data></command>");
    EXPECT_EQ(INT32_MAX, command->commandId());
}

// On ext4 (hashed directories), NFS and overlay file systems the entries of a
// directory carry 64-bit offsets; a 32-bit process without large-file support
// cannot list it. Enough entries that the hash offsets spread over 64 bits.
TEST(ThirtyTwoBitEdges, ADirectoryWith64BitOffsetsIsListedAndRemovedWhole) {
    const TempRoot root;
    const std::string tree = root.path + "/tree";
    ASSERT_EQ(0, makePath(tree + "/sub", 0755));
    EXPECT_EQ(0, makePath(tree + "/sub", 0755)) << "an existing directory is fine";
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(writeFileAtomic(tree + "/f" + std::to_string(i), "x"));
        ASSERT_TRUE(writeFileAtomic(tree + "/sub/g" + std::to_string(i), "y"));
    }
    EXPECT_EQ(-1, makePath(tree + "/f1/g", 0755));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_EQ(0, removeTree(tree)) << "errno " << errno;
    EXPECT_NE(0, access(tree.c_str(), F_OK));
    EXPECT_EQ(-1, removeTree(tree)) << "a missing tree is a failure";
}

}  // namespace
}  // namespace rctest
