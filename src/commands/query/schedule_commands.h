// scheduleCommands: stores a list of commands to run at one moment (UTC).
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdScheduleCommands : public Command {
public:
    explicit CmdScheduleCommands(const std::string& envelopeText) : Command(envelopeText, "scheduleCommands") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
