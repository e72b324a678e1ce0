// The reset routine shared by resetModules and resetCAMModules: for every MAC
// of the command (every module when it names none) the module's XML-RPC
// address is looked up and the controller's XML-RPC client asked to reset it.
#pragma once

#include "commands/core/command.h"

#include <string>
#include <vector>

namespace dorel_remote_control {

struct ModuleResetKind {
    const char* method;   // the client's method, e.g. "resetCAM"
    const char* script;   // the script the method runs on the module, or null
    int failureCode;      // the result code of a module whose reset failed
    // Whether the controller's own MAC means "reboot the controller" (last,
    // after every other module) instead of a module to look up.
    bool rebootsController;
};

class ModuleResetCommand : public Command {
public:
    ModuleResetCommand(Env& env, Envelope envelope, const char* name, const ModuleResetKind& kind)
        : Command(env, std::move(envelope), name), kind_(kind) {}

protected:
    void execute() override;

private:
    // The MACs of the command in document order, or every module's.
    bool collectMacs(std::vector<std::string>& macs);
    // Stores the command as finished, reboots the controller and ends the
    // process: the restarted agent reports the result from the store.
    [[noreturn]] void rebootController();

    ModuleResetKind kind_;
};

}  // namespace dorel_remote_control
