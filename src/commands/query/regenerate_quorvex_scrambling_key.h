// regenerateQuorvexScramblingKey: has the controller's key tool make a new scrambling key.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdRegenerateQuorvexScramblingKey : public Command {
public:
    explicit CmdRegenerateQuorvexScramblingKey(Env& env, Envelope envelope) : Command(env, std::move(envelope), "regenerateQuorvexScramblingKey") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
