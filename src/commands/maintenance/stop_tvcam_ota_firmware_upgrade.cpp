#include "commands/maintenance/stop_tvcam_ota_firmware_upgrade.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

// Placeholder until the command is written: reports itself as not available.
void CmdStopTVCAMOTAFirmwareUpgrade::execute() {
    startResult();
    addError(kInvalidCommand, "not implemented");
}

}  // namespace dorel_remote_control
