#include "common/shell.h"

#include <cstdlib>
#include <sys/wait.h>
#include <vector>

namespace dorel_remote_control {

std::string shellQuote(const std::string& value) {
    // Inside double quotes the shell still expands $, ` and \ (and a " ends
    // the quoting); a newline would end the command in some callers' logs.
    if (value.find_first_of("$`\\\"\n") == std::string::npos) return "\"" + value + "\"";
    std::string quoted = "'";
    for (char c : value) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    quoted += "'";
    return quoted;
}

namespace {

int exitCodeOf(int waitStatus) {
    if (waitStatus == -1) return -1;
    if (WIFEXITED(waitStatus)) return WEXITSTATUS(waitStatus);
    return -1;
}

}  // namespace

int runShell(const std::string& commandLine) {
    fflush(nullptr);  // keep our buffered output ahead of the child's
    return exitCodeOf(std::system(commandLine.c_str()));
}

ReadPipe::ReadPipe(const std::string& commandLine) {
    fflush(nullptr);
    pipe_ = popen(commandLine.c_str(), "r");
}

ReadPipe::~ReadPipe() { close(); }

bool ReadPipe::readLine(std::string& line, size_t maxChars) {
    line.clear();
    if (pipe_ == nullptr) return false;
    std::vector<char> buffer(maxChars + 1);
    if (fgets(buffer.data(), static_cast<int>(buffer.size()), pipe_) == nullptr) return false;
    line = buffer.data();
    return true;
}

int ReadPipe::close() {
    if (pipe_ == nullptr) return -1;
    int status = pclose(pipe_);
    pipe_ = nullptr;
    return exitCodeOf(status);
}

std::string trimRight(const std::string& text, const char* set) {
    size_t end = text.find_last_not_of(set);
    return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

}  // namespace dorel_remote_control
