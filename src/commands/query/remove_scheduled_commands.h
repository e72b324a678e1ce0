// removeScheduledCommands: deletes waiting commands by id, or all of them.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdRemoveScheduledCommands : public Command {
public:
    explicit CmdRemoveScheduledCommands(Env& env, const std::string& envelopeText) : Command(env, envelopeText, "removeScheduledCommands") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
