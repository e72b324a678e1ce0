#include "commands/query/quor_key_tool.h"

#include "common/log.h"
#include "common/paths.h"
#include "common/shell.h"

#include <string>

namespace dorel_remote_control {

int runQuorKey(QuorKeyRun run) {
    const std::string option = run == QuorKeyRun::kNewScramblingKey ? " -r " : " ";
    const std::string line =
        paths::quorKey() + option + paths::command("/dorel/datosWeb/ScramblingKeys/quorkeys.txt");
    const int status = runShell(line);
    if (status != 0) logf(3, "%s exited with %d", line.c_str(), status);
    return status;
}

}  // namespace dorel_remote_control
