// The exceptions of the agent. Each carries only its message; the code that
// catches one logs it with its context.
#pragma once

#include <stdexcept>
#include <string>

namespace dorel_remote_control {

#define RC_DECLARE_ERROR(Name)                                              \
    class Name : public std::runtime_error {                                \
    public:                                                                 \
        explicit Name(const std::string& message) : std::runtime_error(message) {} \
    }

RC_DECLARE_ERROR(CouldNotOpenDBError);
RC_DECLARE_ERROR(CommandParsingError);
RC_DECLARE_ERROR(InvalidCommandError);
RC_DECLARE_ERROR(CurlError);
RC_DECLARE_ERROR(MD5Error);
RC_DECLARE_ERROR(ReadConfigError);

#undef RC_DECLARE_ERROR

}  // namespace dorel_remote_control
