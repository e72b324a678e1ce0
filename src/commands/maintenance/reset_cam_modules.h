// resetCAMModules: resets the CAM of modules.
#pragma once

#include "commands/maintenance/module_reset.h"

namespace dorel_remote_control {

class CmdResetCAMModules : public ModuleResetCommand {
public:
    explicit CmdResetCAMModules(Env& env, Envelope envelope);
};

}  // namespace dorel_remote_control
