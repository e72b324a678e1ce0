// Server datetimes: UTC whatever zone the controller runs in.
#include "commands/query/utc_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

using dorel_remote_control::parseServerDatetime;

TEST(ServerDatetime, IsUtcWhateverTheControllerZoneAndLeavesTheZoneAsItWas) {
    dorel_remote_control::ScopedUtcTimezone restoreTheTestsZone;
    for (const char* zone : {static_cast<const char*>(nullptr), "EST5EDT,M3.2.0,M11.1.0"}) {
        SCOPED_TRACE(zone ? zone : "(unset)");
        if (zone) setenv("TZ", zone, 1); else unsetenv("TZ");
        tzset();
        long winter = 0, summer = 0;
        ASSERT_TRUE(parseServerDatetime("2030-01-02T03:04:05", winter));
        ASSERT_TRUE(parseServerDatetime("2024-07-01T12:00:00", summer));
        EXPECT_EQ(1893553445L, winter);
        EXPECT_EQ(1719835200L, summer);
        const char* after = getenv("TZ");
        EXPECT_EQ(zone ? zone : "(unset)", std::string(after ? after : "(unset)"));
    }
    time_t t = 1719835200;  // the zone is in force again, not only the variable
    struct tm local;
    EXPECT_EQ(8, localtime_r(&t, &local)->tm_hour);
}

TEST(ServerDatetime, RejectsAnythingButTheWholeFormat) {
    const std::string bad[] = {"", "2030-01-02T03:04:05+01:00", "2030-01-02 03:04:05", "2030-01-02T03:04",
                               "2030-13-02T03:04:05", "2030-01-02T25:04:05", std::string("2030-01-02T03:04:05\0x", 21)};
    for (const std::string& text : bad) {
        long seconds = 12345;
        EXPECT_FALSE(parseServerDatetime(text, seconds)) << text;
        EXPECT_EQ(12345L, seconds);
    }
}
