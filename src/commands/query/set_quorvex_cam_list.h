// setQuorvexCAMList: replaces (or, as a partial list, extends) the Quorvex CAM list and has the key tool rebuild the key file.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdSetQuorvexCAMList : public Command {
public:
    explicit CmdSetQuorvexCAMList(Env& env, Envelope envelope) : Command(env, std::move(envelope), "setQuorvexCAMList") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
