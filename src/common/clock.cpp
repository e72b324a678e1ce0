#include "common/clock.h"

#include <unistd.h>

namespace dorel_remote_control {
namespace clock {
namespace {

std::function<time_t()>& nowHook() {
    static std::function<time_t()> hook;
    return hook;
}

std::function<void(unsigned)>& sleepHook() {
    static std::function<void(unsigned)> hook;
    return hook;
}

}  // namespace

time_t now() { return nowHook() ? nowHook()() : time(nullptr); }

void sleepSeconds(unsigned seconds) {
    if (sleepHook()) {
        sleepHook()(seconds);
        return;
    }
    // sleep() returns early when a signal arrives; finish the wait.
    unsigned left = seconds;
    while (left > 0) left = sleep(left);
}

bool overridden() { return static_cast<bool>(nowHook()) || static_cast<bool>(sleepHook()); }

ScopedOverride::ScopedOverride(std::function<time_t()> now, std::function<void(unsigned)> sleep)
    : previousNow_(std::move(nowHook())), previousSleep_(std::move(sleepHook())) {
    nowHook() = std::move(now);
    sleepHook() = std::move(sleep);
}

ScopedOverride::~ScopedOverride() {
    nowHook() = std::move(previousNow_);
    sleepHook() = std::move(previousSleep_);
}

}  // namespace clock
}  // namespace dorel_remote_control
