// Process-wide logging of the agent.
//
// Every line goes to syslog under the ident "remote-control", and only while
// bit 0x10 of the debug mask is set: the mask is the operator's switch, read
// from the logging configuration (see dorelcommon.h). Tests replace the syslog
// sink to read what the agent logged.
#pragma once

#include <functional>
#include <string>

namespace dorel_remote_control {

// The bit of the debug mask that enables the agent's log lines.
constexpr unsigned long kLogEnableBit = 0x10;

// Process-wide debug mask, filled by configure_global_syslog().
extern unsigned long debugMask;

// Logs when the enable bit is set. priority is a syslog priority (3 error,
// 4 warning, 6 info, 7 debug).
void logf(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Logs whatever the mask says (used for the few lines the headend's log
// collector expects unconditionally). priority may carry a facility.
void logAlways(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Where formatted lines go instead of syslog (tests read them this way). An
// empty sink means syslog.
using LogSink = std::function<void(int priority, const std::string& line)>;

// Installs a sink for the lifetime of the object and restores the previous one
// afterwards.
class ScopedLogSink {
public:
    explicit ScopedLogSink(LogSink sink);
    ~ScopedLogSink();
    ScopedLogSink(const ScopedLogSink&) = delete;
    ScopedLogSink& operator=(const ScopedLogSink&) = delete;

private:
    LogSink previous_;
};

}  // namespace dorel_remote_control
