// getScheduledCommands: lists the commands still waiting for their time.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdGetScheduledCommands : public Command {
public:
    explicit CmdGetScheduledCommands(const std::string& envelopeText) : Command(envelopeText, "getScheduledCommands") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
