// startOTAFirmwareUpgrade: writes the linkage descriptor that starts an OTA download in the emitted streams.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdStartOTAFirmwareUpgrade : public Command {
public:
    explicit CmdStartOTAFirmwareUpgrade(Env& env, Envelope envelope) : Command(env, std::move(envelope), "startOTAFirmwareUpgrade") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
