#include "commands/maintenance/reset_modules.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

namespace {

const ModuleResetKind kResetModules = {"EjecutarScript 'reboot'", kCouldNotResetModule, true};

}  // namespace

CmdResetModules::CmdResetModules(const std::string& envelopeText) : ModuleResetCommand(envelopeText, "resetModules", kResetModules) {}

}  // namespace dorel_remote_control
