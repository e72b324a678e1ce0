// The agent's view of time: the current time and the plain sleeps it makes.
//
// The agent is single-threaded and every wait in it is a sleep, so one
// process-wide clock is enough. Tests install a fake clock to check the waits
// without spending them.
#pragma once

#include <ctime>
#include <functional>

namespace dorel_remote_control {
namespace clock {

time_t now();
void sleepSeconds(unsigned seconds);

// True while a test clock is installed: waits the agent would otherwise spend
// in other ways (a busy database) are then skipped as well.
bool overridden();

// Replaces now() and sleepSeconds() for its lifetime (tests only).
class ScopedOverride {
public:
    ScopedOverride(std::function<time_t()> now, std::function<void(unsigned)> sleep);
    ~ScopedOverride();
    ScopedOverride(const ScopedOverride&) = delete;
    ScopedOverride& operator=(const ScopedOverride&) = delete;

private:
    std::function<time_t()> previousNow_;
    std::function<void(unsigned)> previousSleep_;
};

}  // namespace clock
}  // namespace dorel_remote_control
