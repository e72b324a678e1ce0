#include "commands/query/regenerate_quorvex_scrambling_key.h"

#include "commands/core/result_codes.h"
#include "commands/query/quor_key_tool.h"

namespace dorel_remote_control {

void CmdRegenerateQuorvexScramblingKey::execute() {
    startResult();
    if (runQuorKey(QuorKeyRun::kNewScramblingKey) != 0) addError(kErrorRegeneratingKey);
}

}  // namespace dorel_remote_control
