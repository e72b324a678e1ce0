// Captures what the agent logs (with the debug mask's enable bit set) for the
// object's lifetime.
#pragma once

#include <string>
#include <vector>

#include "common/log.h"

namespace rctest {

struct LogLine {
    int priority;
    std::string text;
};

class LogCapture {
public:
    LogCapture();
    ~LogCapture();

    const std::vector<LogLine>& lines() const { return lines_; }
    bool contains(const std::string& fragment) const;
    int count(const std::string& fragment) const;
    // All lines joined with newlines, for failure messages.
    std::string dump() const;
    void clear() { lines_.clear(); }

private:
    std::vector<LogLine> lines_;
    unsigned long previousMask_;
    dorel_remote_control::ScopedLogSink sink_;
};

}  // namespace rctest
