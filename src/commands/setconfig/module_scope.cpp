#include "commands/setconfig/module_scope.h"

#include "commands/core/result_codes.h"
#include "commands/setconfig/value_rules.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

bool LnbOscillators::load(sqlite3* db) {
    namespace cfg = doreldb::configuracionWebGlobal;
    std::vector<doreldb::Record> rows;
    if (doreldb::selectRows(rows, db, cfg::table(), " WHERE nombre LIKE 'LNB_f_' ") != SQLITE_OK) return false;
    // '_' is a wildcard: only the exact keys count.
    for (const doreldb::Record& row : rows) {
        const std::string key = row.text(cfg::nombre);
        if (key == "LNB_fb" && !hasLow) {
            hasLow = true;
            low = lenientWholeNumber(row.text(cfg::valor));
        } else if (key == "LNB_fa" && !hasHigh) {
            hasHigh = true;
            high = lenientWholeNumber(row.text(cfg::valor));
        }
    }
    return true;
}

bool saveRow(SetConfigContext& context, doreldb::Record& row, const char* failureText) {
    if (!row.anyModified()) return true;
    if (doreldb::update(context.db(), row) != SQLITE_OK) return context.fail(kCouldNotAccessDatabase, failureText);
    return true;
}

}  // namespace dorel_remote_control
