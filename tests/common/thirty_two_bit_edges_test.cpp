// The values where a 32-bit controller and a 64-bit build machine part ways:
// moments after January 2038, numbers beyond 32 bits, directories whose
// entries carry 64-bit offsets. The suite runs on both (natively and as the
// armhf build under qemu-user), and each case must come out the same there.
#include "commands/core/result_codes.h"
#include "commands/query/command_runner.h"
#include "commands/query/utc_time.h"
#include "common/fs.h"
#include "common/numbers.h"
#include "server/settings.h"
#include "support/process_helpers.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>

namespace rctest {
namespace {

using namespace dorel_remote_control;

TEST(ThirtyTwoBitEdges, NumbersFromTextSaturateAsOnTheController) {
    const struct {
        const char* text;
        int32_t value;
    } decimal[] = {
        {"2147483647", INT32_MAX},      {"2147483648", INT32_MAX},  {"4294967297", INT32_MAX},
        {"99999999999999999999", INT32_MAX}, {"-2147483648", INT32_MIN}, {"-2147483649", INT32_MIN},
        {" 42abc", 42},                 {"abc", 0},                 {"", 0},
    };
    for (const auto& c : decimal) EXPECT_EQ(c.value, atoi32(c.text)) << c.text;

    const struct {
        const char* text;
        int base;
        uint32_t value;
        bool overflow;
    } unsignedCases[] = {
        {"ffffffff", 16, 0xFFFFFFFFu, false}, {"100000001", 16, 0xFFFFFFFFu, true},
        {"0x10", 0, 0x10u, false},            {"0x100000010", 0, 0xFFFFFFFFu, true},
        {"-1", 10, 0xFFFFFFFFu, false},       {"-4294967296", 10, 0xFFFFFFFFu, true},
        {"zz", 16, 0u, false},
    };
    for (const auto& c : unsignedCases) {
        errno = 0;
        char* end = nullptr;
        EXPECT_EQ(c.value, strtoul32(c.text, &end, c.base)) << c.text;
        EXPECT_EQ(c.overflow, errno == ERANGE) << c.text;
        EXPECT_EQ(c.text == std::string("zz"), end == c.text) << c.text;
    }
}

TEST(ThirtyTwoBitEdges, ServerMomentsEndWhereThe32BitClockEnds) {
    const struct {
        const char* text;
        bool accepted;
        long seconds;
    } cases[] = {
        {"2038-01-19T03:14:07", true, 2147483647L},
        {"2038-01-19T03:14:08", false, 0},
        {"2106-02-07T06:28:16", false, 0},  // 2^32 seconds: would wrap to the epoch
        {"2040-01-01T00:00:00", false, 0},
        {"1901-12-13T20:45:52", true, -2147483647L - 1},
        {"1901-12-13T20:45:51", false, 0},
    };
    for (const auto& c : cases) {
        long seconds = 0;
        EXPECT_EQ(c.accepted, parseServerDatetime(c.text, seconds)) << c.text;
        if (c.accepted) {
            EXPECT_EQ(c.seconds, seconds) << c.text;
        }
    }
}

TEST_F(StoreTest, ThirtyTwoBitEdgesAScheduleAfter2038IsRefusedAndNothingWaits) {
    const std::string inner = envelope(11, "getScheduledCommands");
    const std::string late = "2038-01-19T03:14:08";
    EXPECT_EQ((Errors{{kInvalidDatetime, late}}),
              errorsOf(envelope(3, "scheduleCommands", "<datetime>" + late + "</datetime><commands>" + inner +
                                                           "</commands>")));
    EXPECT_TRUE(storedRows().empty());

    const std::string last = "2038-01-19T03:14:07";
    EXPECT_EQ(Errors{}, errorsOf(envelope(3, "scheduleCommands", "<datetime>" + last + "</datetime><commands>" +
                                                                     inner + "</commands>")));
    auto rows = storedRows();
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ("2147483647", rows[0][2]);
}

TEST_F(StoreTest, ThirtyTwoBitEdgesACommandIdBeyond32BitsSaturates) {
    const struct {
        const char* id;
        int expected;
    } cases[] = {{"4294967297", INT32_MAX}, {"99999999999", INT32_MAX}, {"-99999999999", INT32_MIN}};
    for (const auto& c : cases) {
        auto command = createCommand(std::string("<command><id>") + c.id +
                                     "</id><data><getScheduledCommands/></data></command>");
        EXPECT_EQ(c.expected, command->commandId()) << c.id;
    }
}

TEST(ThirtyTwoBitEdges, AnIntervalBeyond32BitsSaturatesAsOnTheController) {
    settings() = Settings();
    HeadendRoot root{{"--no-certs"}};
    const struct {
        const char* text;
        uint32_t interval;
    } cases[] = {{"4294967296", 2147483647u}, {"4294967301", 2147483647u}, {"-1", 4294967295u}};
    for (const auto& c : cases) {
        root.setConfig("servidorZAT_intervalo", c.text);
        Settings s;
        s.load();
        EXPECT_EQ(c.interval, s.interval()) << c.text;
    }
}

// On ext4 (hashed directories), NFS and overlay file systems the entries of a
// directory carry 64-bit offsets; a 32-bit process without large-file support
// cannot list it. Enough entries that the hash offsets spread over 64 bits.
TEST(ThirtyTwoBitEdges, ADirectoryWith64BitOffsetsIsListedAndRemovedWhole) {
    const std::string base = makeTempDir("rc-edges-");
    const std::string tree = base + "/tree";
    ASSERT_EQ(0, makePath(tree + "/sub", 0755));
    for (int i = 0; i < 200; ++i) {
        ASSERT_TRUE(writeFileAtomic(tree + "/f" + std::to_string(i), "x"));
        ASSERT_TRUE(writeFileAtomic(tree + "/sub/g" + std::to_string(i), "y"));
    }
    EXPECT_EQ(0, removeTree(tree)) << "errno " << errno;
    EXPECT_FALSE(fileExists(tree));
    removeTreeNoShell(base);
}

}  // namespace
}  // namespace rctest
