#include "commands/maintenance/reset_cam_modules.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

namespace {

const ModuleResetKind kResetCAMModules = {"resetCAM", nullptr, kCouldNotResetCam, false};

}  // namespace

CmdResetCAMModules::CmdResetCAMModules(Env& env, const std::string& envelopeText) : ModuleResetCommand(env, envelopeText, "resetCAMModules", kResetCAMModules) {}

}  // namespace dorel_remote_control
