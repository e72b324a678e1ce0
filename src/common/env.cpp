#include "common/env.h"

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <syslog.h>
#include <unistd.h>

namespace dorel_remote_control {

Env::Env(std::string root) : paths_(std::move(root)) {}

Env::~Env() = default;

std::string Env::rootFromEnvironment() {
    const char* value = std::getenv("REMOTE_CONTROL_ROOT");
    return value ? std::string(value) : std::string();
}

time_t Env::now() { return time(nullptr); }

void Env::sleepSeconds(unsigned seconds) {
    unsigned left = seconds;
    while (left > 0) left = sleep(left);
}

void Env::sleepMillis(unsigned milliseconds) {
    struct timespec left = {static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

void Env::log(int priority, const char* format, ...) {
    if ((debugMask_ & kLogEnableBit) == 0) return;
    va_list args;
    va_start(args, format);
    write(priority, format, args);
    va_end(args);
}

void Env::logv(int priority, const char* format, va_list args) {
    if ((debugMask_ & kLogEnableBit) != 0) write(priority, format, args);
}

void Env::logAlways(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    write(priority, format, args);
    va_end(args);
}

void Env::write(int priority, const char* format, va_list args) { vsyslog(priority, format, args); }

unsigned Env::timeoutMillis(Program program) const { return programTimeoutSeconds(program) * 1000; }

ProgramResult Env::run(const ProgramCall& call, size_t captureLimit) {
    return runProgram(*this, call, timeoutMillis(call.program), captureLimit);
}

}  // namespace dorel_remote_control
