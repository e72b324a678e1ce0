// The outside world of a test: the agent's own Env under a test root, with a
// clock the test sets, sleeps that are recorded instead of spent, every log
// line kept (the debug mask's enable bit set), and program time-outs and the
// transfer stall guard the test may shorten. Programs still run for real: the
// dev kit's stand-ins under the root.
#pragma once

#include "common/env.h"

#include <map>
#include <string>
#include <vector>

namespace rctest {

struct LogLine {
    int priority;
    std::string text;
};

class TestEnv : public dorel_remote_control::Env {
public:
    explicit TestEnv(const std::string& root, time_t start = 1700000000);

    // Clock.
    time_t now() override { return now_; }
    void set(time_t t) { now_ = t; }
    void advance(time_t seconds) { now_ += seconds; }
    void sleepSeconds(unsigned seconds) override;
    void sleepMillis(unsigned milliseconds) override;
    const std::vector<unsigned>& sleeps() const { return sleeps_; }
    // Spend the waits for real (a test of the production busy wait).
    bool realSleeps = false;

    // Log.
    const std::vector<LogLine>& lines() const { return lines_; }
    bool contains(const std::string& fragment) const { return count(fragment) > 0; }
    int count(const std::string& fragment) const;
    std::string dump() const;  // every line, for failure messages
    void clearLog() { lines_.clear(); }

    // Time-outs.
    unsigned timeoutMillis(dorel_remote_control::Program program) const override;
    void setTimeoutMillis(dorel_remote_control::Program program, unsigned ms) { timeouts_[program] = ms; }
    unsigned transferStallSeconds() const override {
        return stallSeconds_ ? stallSeconds_ : Env::transferStallSeconds();
    }
    unsigned stallSeconds_ = 0;

protected:
    void write(int priority, const char* format, va_list args) override;

private:
    time_t now_;
    std::vector<unsigned> sleeps_;
    std::vector<LogLine> lines_;
    std::map<dorel_remote_control::Program, unsigned> timeouts_;
};

}  // namespace rctest
