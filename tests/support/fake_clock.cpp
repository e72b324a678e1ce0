// A settable clock for tests: sleeps are recorded and advance the time.
#include "support/fake_clock.h"

namespace rctest {

FakeClock::FakeClock(time_t start)
    : now_(start),
      override_([this] { return now_; },
                [this](unsigned seconds) {
                    sleeps_.push_back(seconds);
                    now_ += static_cast<time_t>(seconds);
                }) {}

}  // namespace rctest
