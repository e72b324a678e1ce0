// resetModules: reboots whole modules; the controller itself reboots last.
#pragma once

#include "commands/maintenance/module_reset.h"

namespace dorel_remote_control {

class CmdResetModules : public ModuleResetCommand {
public:
    explicit CmdResetModules(Env& env, Envelope envelope);
};

}  // namespace dorel_remote_control
