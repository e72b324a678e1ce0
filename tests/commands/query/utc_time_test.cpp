// Server datetimes: UTC whatever zone the controller runs in, the whole text
// in the one format, and nothing a 32-bit time_t cannot hold.
#include "commands/query/utc_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>

using dorel_remote_control::parseServerDatetime;

TEST(ServerDatetime, IsUtcWhateverTheControllerZoneAndLeavesTheZoneAsItWas) {
    const std::pair<std::string, long> cases[] = {  // text, seconds (-1: refused)
        {"2030-01-02T03:04:05", 1893553445L}, {"2024-07-01T12:00:00", 1719835200L},
        {"2038-01-19T03:14:07", 2147483647L}, {"2038-01-19T03:14:08", -1},
        {"2030-01-02T03:04:05Z", -1},         {"2030-13-02T03:04:05", -1},
        {"2030-01-02T03:04", -1},             {std::string("2030-01-02T03:04:05\0x", 21), -1},
        {"1969-12-31T23:59:59", -1},  // what mktime() also says when a moment does not fit
    };
    dorel_remote_control::ScopedUtcTimezone restoreTheTestsZone;
    for (const char* zone : {static_cast<const char*>(nullptr), "EST5EDT,M3.2.0,M11.1.0"}) {
        SCOPED_TRACE(zone ? zone : "(unset)");
        if (zone) setenv("TZ", zone, 1); else unsetenv("TZ");
        tzset();
        for (const auto& [text, expected] : cases) {
            long seconds = -1;
            EXPECT_EQ(expected != -1, parseServerDatetime(text, seconds)) << text;
            EXPECT_EQ(expected, seconds) << text;
        }
        const char* after = getenv("TZ");
        EXPECT_EQ(zone ? zone : "(unset)", std::string(after ? after : "(unset)"));
    }
    time_t t = 1719835200;  // the zone is in force again, not only the variable
    struct tm local;
    EXPECT_EQ(8, localtime_r(&t, &local)->tm_hour);
}
