#include "commands/query/utc_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

using dorel_remote_control::parseServerDatetime;

namespace {

// Sets TZ (or removes it) for one test and puts back what was there.
class TzGuard {
public:
    explicit TzGuard(const char* value) {
        if (const char* old = getenv("TZ")) previous_ = old;
        if (value) setenv("TZ", value, 1); else unsetenv("TZ");
        tzset();
    }
    ~TzGuard() {
        if (previous_) setenv("TZ", previous_->c_str(), 1); else unsetenv("TZ");
        tzset();
    }

private:
    std::optional<std::string> previous_;
};

std::optional<std::string> currentTz() {
    const char* tz = getenv("TZ");
    return tz ? std::optional<std::string>(tz) : std::nullopt;
}

}  // namespace

TEST(ServerDatetime, IsUtcWhateverTheControllerZone) {
    // nullptr: TZ unset; the POSIX rule needs no zone files on the host.
    const char* zones[] = {nullptr, "", "America/New_York", "Asia/Kolkata", "EST5EDT,M3.2.0,M11.1.0"};
    for (const char* zone : zones) {
        SCOPED_TRACE(zone ? zone : "(unset)");
        TzGuard guard(zone);
        const std::optional<std::string> before = currentTz();

        long winter = 0, summer = 0;
        ASSERT_TRUE(parseServerDatetime("2030-01-02T03:04:05", winter));
        ASSERT_TRUE(parseServerDatetime("2024-07-01T12:00:00", summer));
        EXPECT_EQ(1893553445L, winter);
        EXPECT_EQ(1719835200L, summer);
        EXPECT_EQ(before, currentTz());
        // The zone is really back in force, not only the variable.
        if (zone && std::string(zone) == "America/New_York") {
            time_t t = 1719835200;
            struct tm local;
            localtime_r(&t, &local);
            EXPECT_EQ(8, local.tm_hour);
        }
    }
}

TEST(ServerDatetime, RejectsAnythingButTheWholeFormat) {
    const std::string bad[] = {
        "",
        "2030-01-02T03:04:05Z",
        "2030-01-02T03:04:05.250",
        "2030-01-02T03:04:05+01:00",
        "2030-01-02T03:04:05 ",
        "2030-01-02 03:04:05",
        "2030-01-02",
        "2030-01-02T03:04",
        "2030-13-02T03:04:05",
        "2030-01-02T25:04:05",
        "tomorrow",
        std::string("2030-01-02T03:04:05\0junk", 24),
    };
    for (const std::string& text : bad) {
        SCOPED_TRACE(text);
        long seconds = 12345;
        EXPECT_FALSE(parseServerDatetime(text, seconds));
        EXPECT_EQ(12345L, seconds);
    }
}
