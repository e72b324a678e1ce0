// Running the headend's programs through the shell, safely.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

namespace dorel_remote_control {

// Quotes a text for a shell command line so that no character of it can end
// the quoting. An ordinary value (no $ ` \ " or newline) comes out in double
// quotes, exactly as the headend's command lines have always written it;
// anything else is single-quoted with embedded single quotes escaped.
std::string shellQuote(const std::string& value);

// Runs a command line through /bin/sh and returns its exit code, or -1 when the
// shell could not be started or the command did not exit normally.
int runShell(const std::string& commandLine);

// A pipe from popen(), closed with pclose() on every path.
class ReadPipe {
public:
    explicit ReadPipe(const std::string& commandLine);
    ~ReadPipe();
    ReadPipe(const ReadPipe&) = delete;
    ReadPipe& operator=(const ReadPipe&) = delete;

    bool ok() const { return pipe_ != nullptr; }
    // Reads one line (at most maxChars characters, without the line end
    // removed). Returns false at end of output.
    bool readLine(std::string& line, size_t maxChars = 127);
    // Closes the pipe and returns the exit code (-1 if abnormal).
    int close();

private:
    FILE* pipe_;
};

// Removes trailing characters found in `set` (by default " \n\r\t").
std::string trimRight(const std::string& text, const char* set = " \n\r\t");

}  // namespace dorel_remote_control
