// getScheduledCommands: lists the commands still waiting for their time.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdGetScheduledCommands : public Command {
public:
    explicit CmdGetScheduledCommands(Env& env, Envelope envelope) : Command(env, std::move(envelope), "getScheduledCommands") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
