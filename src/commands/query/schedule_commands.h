// scheduleCommands: stores a list of commands to run at one moment (UTC).
#pragma once

#include "commands/core/command.h"

#include <cstddef>

namespace dorel_remote_control {

class CmdScheduleCommands : public Command {
public:
    explicit CmdScheduleCommands(const std::string& envelopeText) : Command(envelopeText, "scheduleCommands") {}

protected:
    void execute() override;

private:
    // Inner commands already in the store. run() repeats execute() after a
    // database failure; those must not be stored a second time.
    size_t stored_ = 0;
};

}  // namespace dorel_remote_control
