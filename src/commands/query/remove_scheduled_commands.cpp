#include "commands/query/remove_scheduled_commands.h"

#include "commands/core/result_codes.h"

namespace dorel_remote_control {

// Placeholder until the command is written: reports itself as not available.
void CmdRemoveScheduledCommands::execute() {
    startResult();
    addError(kInvalidCommand, "not implemented");
}

}  // namespace dorel_remote_control
