// regenerateQuorvexScramblingKey: has the controller's key tool make a new scrambling key.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdRegenerateQuorvexScramblingKey : public Command {
public:
    explicit CmdRegenerateQuorvexScramblingKey(Env& env, const std::string& envelopeText) : Command(env, envelopeText, "regenerateQuorvexScramblingKey") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
