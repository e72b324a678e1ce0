#include "commands/query/regenerate_quorvex_scrambling_key.h"

#include "commands/core/result_codes.h"
#include "commands/query/quor_key_tool.h"

namespace dorel_remote_control {

void CmdRegenerateQuorvexScramblingKey::execute() {
    startResult();
    if (runQuorKey(env(), QuorKeyRun::kNewScramblingKey) != 0) fail(kErrorRegeneratingKey);
}

}  // namespace dorel_remote_control
