// A clock for tests: now() returns a settable time and every sleep is recorded
// and advances the time instead of waiting.
#pragma once

#include <ctime>
#include <vector>

#include "common/clock.h"

namespace rctest {

class FakeClock {
public:
    explicit FakeClock(time_t start = 1700000000);

    time_t now() const { return now_; }
    void set(time_t t) { now_ = t; }
    void advance(time_t seconds) { now_ += seconds; }
    const std::vector<unsigned>& sleeps() const { return sleeps_; }

private:
    time_t now_;
    std::vector<unsigned> sleeps_;
    dorel_remote_control::clock::ScopedOverride override_;
};

}  // namespace rctest
