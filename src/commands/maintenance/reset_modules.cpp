#include "commands/maintenance/reset_modules.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

namespace {

const ModuleResetKind kResetModules = {"EjecutarScript", "reboot", kCouldNotResetModule, true};

}  // namespace

CmdResetModules::CmdResetModules(Env& env, Envelope envelope) : ModuleResetCommand(env, std::move(envelope), "resetModules", kResetModules) {}

}  // namespace dorel_remote_control
