#include "commands/core/command_table.h"

#include "commands/maintenance/apply_firmware_upgrade.h"
#include "commands/maintenance/change_password.h"
#include "commands/maintenance/download_firmware_upgrade.h"
#include "commands/maintenance/regenerate_ssl_certificate.h"
#include "commands/maintenance/reset_cam_modules.h"
#include "commands/maintenance/reset_modules.h"
#include "commands/maintenance/start_ota_firmware_upgrade.h"
#include "commands/maintenance/stop_tvcam_ota_firmware_upgrade.h"
#include "commands/query/get_configuration.h"
#include "commands/query/get_quorvex_cam_list.h"
#include "commands/query/get_scheduled_commands.h"
#include "commands/query/regenerate_quorvex_scrambling_key.h"
#include "commands/query/remove_scheduled_commands.h"
#include "commands/query/schedule_commands.h"
#include "commands/query/set_quorvex_cam_list.h"
#include "commands/setconfig/set_configuration.h"

#include <iterator>
#include <strings.h>

namespace dorel_remote_control {
namespace {

template <class T>
std::shared_ptr<Command> make(Env& env, Envelope&& envelope) {
    return std::make_shared<T>(env, std::move(envelope));
}

// In the order the server's protocol lists them; the first match wins.
const CommandEntry kCommands[] = {
    {"scheduleCommands", &make<CmdScheduleCommands>},
    {"getScheduledCommands", &make<CmdGetScheduledCommands>},
    {"removeScheduledCommands", &make<CmdRemoveScheduledCommands>},
    {"startOTAFirmwareUpgrade", &make<CmdStartOTAFirmwareUpgrade>},
    {"stopTVCAMOTAFirmwareUpgrade", &make<CmdStopTVCAMOTAFirmwareUpgrade>},
    {"changePassword", &make<CmdChangePassword>},
    // The headend read whole, and module/CAM resets.
    {"getConfiguration", &make<CmdGetConfiguration>},
    {"resetModules", &make<CmdResetModules>},
    {"resetCAMModules", &make<CmdResetCAMModules>},
    // Firmware, certificate and Quorvex commands.
    {"downloadFirmwareUpgrade", &make<CmdDownloadFirmwareUpgrade>},
    {"applyFirmwareUpgrade", &make<CmdApplyFirmwareUpgrade>},
    {"getQuorvexCAMList", &make<CmdGetQuorvexCAMList>},
    {"setQuorvexCAMList", &make<CmdSetQuorvexCAMList>},
    {"regenerateQuorvexScramblingKey", &make<CmdRegenerateQuorvexScramblingKey>},
    {"regenerateSSLCertificate", &make<CmdRegenerateSSLCertificate>},
    // The configuration written section by section.
    {"setConfiguration", &make<CmdSetConfiguration>},
};

}  // namespace

const CommandEntry* findCommand(const char* name) {
    if (name == nullptr) return nullptr;
    for (const CommandEntry& entry : kCommands) {
        if (strcasecmp(entry.name, name) == 0) return &entry;
    }
    return nullptr;
}

CommandRows allCommands() {
    return {std::begin(kCommands), std::end(kCommands)};
}

}  // namespace dorel_remote_control
