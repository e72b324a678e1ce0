// The agent's outside world, in one object: the clock and the waits, the
// root every fixed path lives under, the headend's programs, and the log.
//
// main() makes one Env for the process and hands it down; everything that
// reads the time, waits, opens a fixed path, runs a program or logs gets it
// from there (a command from its Command, a database statement from its Db).
// A test makes its own, derived from this one, with a clock it sets, waits it
// does not spend, shorter program time-outs and a log it reads.
#pragma once

#include "common/paths.h"
#include "common/programs.h"

#include <cstdarg>
#include <ctime>
#include <string>

namespace dorel_remote_control {

// The bit of the debug mask that enables the agent's log lines.
constexpr unsigned long kLogEnableBit = 0x10;

class Env {
public:
    // Every fixed path under root ("" for the headend's own paths).
    explicit Env(std::string root);
    virtual ~Env();
    Env(const Env&) = delete;
    Env& operator=(const Env&) = delete;

    // The root named by REMOTE_CONTROL_ROOT ("" when unset).
    static std::string rootFromEnvironment();

    const Paths& paths() const { return paths_; }

    // The wall clock, and the waits the agent makes (sleep() finishes a wait
    // a signal cut short).
    virtual time_t now();
    virtual void sleepSeconds(unsigned seconds);
    virtual void sleepMillis(unsigned milliseconds);

    // Logs when the mask's enable bit is set. priority is a syslog priority
    // (3 error, 4 warning, 6 info, 7 debug).
    void log(int priority, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void logv(int priority, const char* format, va_list args) __attribute__((format(printf, 3, 0)));
    // Logs whatever the mask says (the few lines the headend's log collector
    // expects unconditionally); priority may carry a facility.
    void logAlways(int priority, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // The debug mask, filled from the logging configuration at start and
    // whenever the operator changes it.
    unsigned long& debugMask() { return debugMask_; }
    // Whether log() writes anything: a line that costs work to build is
    // built only then.
    bool logging() const { return (debugMask_ & kLogEnableBit) != 0; }

    // A transfer that moves less than one byte per second for this long fails
    // like any transport error, so a server that goes silent cannot hold the
    // poll pass. (Everything else keeps libcurl's defaults.)
    virtual unsigned transferStallSeconds() const { return 120; }

    // Runs one of the headend's programs (see programs.h) within its
    // time-out.
    ProgramResult run(const ProgramCall& call, size_t captureLimit = 0);
    // The time-out of a program: the table's (programs.cpp).
    virtual unsigned timeoutMillis(Program program) const;

protected:
    // Where a log line goes: syslog, which formats it itself.
    virtual void write(int priority, const char* format, va_list args);

private:
    Paths paths_;
    unsigned long debugMask_ = 0;
};

}  // namespace dorel_remote_control
