#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

bool LnbOscillators::load(SetConfigContext& context) {
    namespace cfg = doreldb::configuracionWebGlobal;
    doreldb::Record* lowRow = nullptr;
    doreldb::Record* highRow = nullptr;
    if (!context.findSetting("LNB_fb", lowRow) || !context.findSetting("LNB_fa", highRow)) return false;
    if ((hasLow = lowRow != nullptr)) low = lenientWholeNumber(lowRow->text(cfg::valor));
    if ((hasHigh = highRow != nullptr)) high = lenientWholeNumber(highRow->text(cfg::valor));
    return true;
}

bool saveRow(SetConfigContext& context, doreldb::Record& row, const char* failureText) {
    if (!row.anyModified()) return true;
    if (doreldb::update(context.db(), row) != SQLITE_OK) return context.fail(kCouldNotAccessDatabase, failureText);
    return true;
}

}  // namespace dorel_remote_control
