#include "commands/maintenance/reset_cam_modules.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

namespace {

const ModuleResetKind kResetCAMModules = {"resetCAM", nullptr, kCouldNotResetCam, false};

}  // namespace

CmdResetCAMModules::CmdResetCAMModules(Env& env, Envelope envelope) : ModuleResetCommand(env, std::move(envelope), "resetCAMModules", kResetCAMModules) {}

}  // namespace dorel_remote_control
