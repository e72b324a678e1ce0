#include "support/test_env.h"

#include <cstdio>

namespace rctest {

TestEnv::TestEnv(const std::string& root, time_t start) : Env(root), now_(start) {
    debugMask() = dorel_remote_control::kLogEnableBit;
}

void TestEnv::sleepSeconds(unsigned seconds) {
    sleeps_.push_back(seconds);
    now_ += static_cast<time_t>(seconds);
    if (realSleeps) Env::sleepSeconds(seconds);
}

void TestEnv::sleepMillis(unsigned milliseconds) {
    if (realSleeps) Env::sleepMillis(milliseconds);
}

int TestEnv::count(const std::string& fragment) const {
    int n = 0;
    for (const LogLine& line : lines_) n += line.text.find(fragment) != std::string::npos ? 1 : 0;
    return n;
}

std::string TestEnv::dump() const {
    std::string out;
    for (const LogLine& line : lines_) out += "<" + std::to_string(line.priority) + "> " + line.text + "\n";
    return out;
}

unsigned TestEnv::timeoutMillis(dorel_remote_control::Program program) const {
    const auto found = timeouts_.find(program);
    return found != timeouts_.end() ? found->second : Env::timeoutMillis(program);
}

void TestEnv::write(int priority, const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    const int needed = vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string line(needed > 0 ? static_cast<size_t>(needed) : 0, '\0');
    if (needed > 0) vsnprintf(&line[0], line.size() + 1, format, args);
    lines_.push_back(LogLine{priority, line});
}

}  // namespace rctest
