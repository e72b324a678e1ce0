#include "commands/query/quor_key_tool.h"

#include "common/env.h"

#include <string>

namespace dorel_remote_control {

int runQuorKey(Env& env, QuorKeyRun run) {
    ProgramCall call(Program::kQuorKey);
    if (run == QuorKeyRun::kNewScramblingKey) call.arguments.emplace_back("-r");
    call.arguments.emplace_back(env.paths().quorKeysFile());
    const int status = env.run(call).exitCode;
    if (status != 0) env.log(3, "%s exited with %d", commandLine(env.paths(), call).c_str(), status);
    return status;
}

}  // namespace dorel_remote_control
