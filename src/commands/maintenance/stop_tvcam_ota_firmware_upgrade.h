// stopTVCAMOTAFirmwareUpgrade: removes the TV CAM linkage descriptor, ending that OTA download.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdStopTVCAMOTAFirmwareUpgrade : public Command {
public:
    explicit CmdStopTVCAMOTAFirmwareUpgrade(Env& env, Envelope envelope) : Command(env, std::move(envelope), "stopTVCAMOTAFirmwareUpgrade") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
