#include "common/log.h"

#include <cstdarg>
#include <cstdio>
#include <syslog.h>

namespace dorel_remote_control {

unsigned long debugMask = 0;

namespace {

// The sink a test installed; empty while lines go to syslog.
LogSink& replacement() {
    static LogSink current;
    return current;
}

void toReplacement(const LogSink& sink, int priority, const char* format, va_list args) {
    char small[512];
    va_list copy;
    va_copy(copy, args);
    int needed = vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (needed < 0) return;
    if (static_cast<size_t>(needed) < sizeof small) {
        sink(priority, std::string(small, static_cast<size_t>(needed)));
        return;
    }
    // Long lines (a status document, a command) are rare: format them again
    // into a buffer of the right size.
    std::string line(static_cast<size_t>(needed) + 1, '\0');
    vsnprintf(&line[0], line.size(), format, args);
    line.resize(static_cast<size_t>(needed));
    sink(priority, line);
}

void emit(int priority, const char* format, va_list args) {
    const LogSink& sink = replacement();
    // syslog formats the line itself: formatting it here first would only
    // make it do the same work twice.
    if (!sink) {
        vsyslog(priority, format, args);
        return;
    }
    toReplacement(sink, priority, format, args);
}

}  // namespace

void logf(int priority, const char* format, ...) {
    if ((debugMask & kLogEnableBit) == 0) return;
    va_list args;
    va_start(args, format);
    emit(priority, format, args);
    va_end(args);
}

void logAlways(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    emit(priority, format, args);
    va_end(args);
}

ScopedLogSink::ScopedLogSink(LogSink sink) : previous_(std::move(replacement())) {
    replacement() = std::move(sink);
}

ScopedLogSink::~ScopedLogSink() { replacement() = std::move(previous_); }

}  // namespace dorel_remote_control
