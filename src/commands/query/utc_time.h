// Moments sent by the server: "%Y-%m-%dT%H:%M:%S", always meant as UTC,
// whatever time zone the controller runs in.
#pragma once

#include <string>

namespace dorel_remote_control {

// Converts a server datetime into seconds since the epoch. The whole text must
// match the format (no zone letter, no fractions, nothing trailing). Returns
// false when it does not, or when the moment does not fit the controller's
// 32-bit time_t (nothing after 2038-01-19T03:14:07), on every build alike.
bool parseServerDatetime(const std::string& text, long& secondsUtc);

// Switches the process to UTC (TZ set to the empty text) for its lifetime and
// then restores TZ as it was, removing it when it was unset.
class ScopedUtcTimezone {
public:
    ScopedUtcTimezone();
    ~ScopedUtcTimezone();
    ScopedUtcTimezone(const ScopedUtcTimezone&) = delete;
    ScopedUtcTimezone& operator=(const ScopedUtcTimezone&) = delete;

private:
    bool hadTz_;
    std::string previousTz_;
};

}  // namespace dorel_remote_control
