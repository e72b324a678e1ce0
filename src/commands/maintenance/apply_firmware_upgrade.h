// applyFirmwareUpgrade: hands a downloaded package to the controller's upgrade scripts, which frame its move into the shared upgrade directory.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdApplyFirmwareUpgrade : public Command {
public:
    explicit CmdApplyFirmwareUpgrade(Env& env, Envelope envelope) : Command(env, std::move(envelope), "applyFirmwareUpgrade") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
