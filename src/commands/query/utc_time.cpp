#include "commands/query/utc_time.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace dorel_remote_control {

ScopedUtcTimezone::ScopedUtcTimezone() {
    const char* tz = getenv("TZ");
    hadTz_ = tz != nullptr;
    if (hadTz_) previousTz_ = tz;
    setenv("TZ", "", 1);
    tzset();
}

ScopedUtcTimezone::~ScopedUtcTimezone() {
    if (hadTz_) {
        setenv("TZ", previousTz_.c_str(), 1);
    } else {
        unsetenv("TZ");
    }
    tzset();
}

bool parseServerDatetime(const std::string& text, long& secondsUtc) {
    struct tm broken = {};
    const char* end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &broken);
    // Anything left over (a zone letter, fractions, an embedded NUL) means the
    // server meant something this format cannot say; guessing would run the
    // commands at the wrong moment.
    if (end == nullptr || *end != '\0' || static_cast<size_t>(end - text.c_str()) != text.size()) {
        return false;
    }
    broken.tm_isdst = 0;

    time_t seconds;
    {
        ScopedUtcTimezone utc;
        seconds = mktime(&broken);
    }
    // mktime() says "does not fit" with -1; the one real moment it could also
    // mean (a second before 1970) is of no use for a schedule either.
    if (seconds == static_cast<time_t>(-1)) return false;
    // The store reads nextTime back as a 32-bit number, and the controller's
    // time_t is 32 bits: a moment beyond that range (after 2038-01-19T03:14:07)
    // is refused on every build alike, never stored to wrap into the past and
    // run the commands at once.
    if constexpr (sizeof(time_t) > sizeof(int32_t)) {
        if (seconds > static_cast<time_t>(INT32_MAX) || seconds < static_cast<time_t>(INT32_MIN)) return false;
    }
    secondsUtc = static_cast<long>(seconds);
    return true;
}

}  // namespace dorel_remote_control
