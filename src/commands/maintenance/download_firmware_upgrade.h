// downloadFirmwareUpgrade: fetches a firmware package into the upload directory, where applyFirmwareUpgrade finds it by its file name.
#pragma once

#include "commands/core/command.h"

namespace dorel_remote_control {

class CmdDownloadFirmwareUpgrade : public Command {
public:
    explicit CmdDownloadFirmwareUpgrade(Env& env, Envelope envelope) : Command(env, std::move(envelope), "downloadFirmwareUpgrade") {}

protected:
    void execute() override;
};

}  // namespace dorel_remote_control
