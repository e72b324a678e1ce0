#include "commands/maintenance/reset_cam_modules.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

namespace {

const ModuleResetKind kResetCAMModules = {"resetCAM", kCouldNotResetCam, false};

}  // namespace

CmdResetCAMModules::CmdResetCAMModules(const std::string& envelopeText) : ModuleResetCommand(envelopeText, "resetCAMModules", kResetCAMModules) {}

}  // namespace dorel_remote_control
