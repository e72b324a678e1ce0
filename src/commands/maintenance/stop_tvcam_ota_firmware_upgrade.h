// stopTVCAMOTAFirmwareUpgrade: removes the TV CAM linkage descriptor, ending that OTA download.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdStopTVCAMOTAFirmwareUpgrade : public Command {
public:
    explicit CmdStopTVCAMOTAFirmwareUpgrade(Env& env, const std::string& envelopeText) : Command(env, envelopeText, "stopTVCAMOTAFirmwareUpgrade") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
