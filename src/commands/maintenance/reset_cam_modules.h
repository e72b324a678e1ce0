// resetCAMModules: resets the CAM of modules.
#pragma once

#include "commands/maintenance/module_reset.h"

namespace dorel_remote_control {

class CmdResetCAMModules : public ModuleResetCommand {
public:
    explicit CmdResetCAMModules(Env& env, const std::string& envelopeText);
};

}  // namespace dorel_remote_control
