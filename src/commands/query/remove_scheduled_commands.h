// removeScheduledCommands: deletes waiting commands by id, or all of them.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdRemoveScheduledCommands : public Command {
public:
    explicit CmdRemoveScheduledCommands(Env& env, Envelope envelope) : Command(env, std::move(envelope), "removeScheduledCommands") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
