// changePassword: sets the password of the local account "admin" or "installer".
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdChangePassword : public Command {
public:
    explicit CmdChangePassword(Env& env, Envelope envelope) : Command(env, std::move(envelope), "changePassword") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
