// getQuorvexCAMList: the Quorvex CAM list as the headend holds it, public keys only on request.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdGetQuorvexCAMList : public Command {
public:
    explicit CmdGetQuorvexCAMList(Env& env, Envelope envelope) : Command(env, std::move(envelope), "getQuorvexCAMList") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
