// Captures what the agent logs for the object's lifetime.
#include "support/log_capture.h"

namespace rctest {

LogCapture::LogCapture()
    : previousMask_(dorel_remote_control::debugMask),
      sink_([this](int priority, const std::string& line) {
          lines_.push_back(LogLine{priority, line});
      }) {
    dorel_remote_control::debugMask |= dorel_remote_control::kLogEnableBit;
}

LogCapture::~LogCapture() { dorel_remote_control::debugMask = previousMask_; }

bool LogCapture::contains(const std::string& fragment) const { return count(fragment) > 0; }

int LogCapture::count(const std::string& fragment) const {
    int n = 0;
    for (const auto& line : lines_) {
        if (line.text.find(fragment) != std::string::npos) ++n;
    }
    return n;
}

std::string LogCapture::dump() const {
    std::string out;
    for (const auto& line : lines_) {
        out += "<" + std::to_string(line.priority) + "> " + line.text + "\n";
    }
    return out;
}

}  // namespace rctest
