#include "commands/maintenance/stop_tvcam_ota_firmware_upgrade.h"

#include "commands/core/result_codes.h"
#include "commands/maintenance/ota_descriptors.h"
#include "common/env.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace dorel_remote_control {

void CmdStopTVCAMOTAFirmwareUpgrade::execute() {
    startResult();

    const std::string path = otaDescriptorPath(env().paths(), tvCamOtaType());
    if (remove(path.c_str()) != 0) {
        fail(kTvCamOtaNotRunning, std::string(), "Could not remove %s: %s", path.c_str(), strerror(errno));
    }
}

}  // namespace dorel_remote_control
