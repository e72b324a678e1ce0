#include "commands/setconfig/section_context.h"

#include "commands/core/result_codes.h"
#include "common/log.h"
#include "db/access.h"
#include "db/tables.h"

#include <cstdio>

namespace dorel_remote_control {

void reportSetConfigError(ResultDocument& result, int code, const std::string& detail, const std::string& logged) {
    result.addError(code, detail);
    const char* text = !logged.empty() ? logged.c_str() : detail.empty() ? resultCodeText(code) : detail.c_str();
    logf(3, "Error %i, %s", code, text);
    logAlways(kCollectorPriority, "r9::: Error %i, %s", code, text);
}

bool SetConfigContext::fail(int code, const std::string& detail) {
    reportSetConfigError(result_, code, detail);
    return false;
}

bool SetConfigContext::failToSet(const std::string& path) {
    const std::string where = "Could not set " + path;
    progress(where);
    reportSetConfigError(result_, kCouldNotAccessDatabase, "Could not set value", where);
    return false;
}

void SetConfigContext::progress(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

bool SetConfigContext::setConfig(const std::string& key, const std::string& value, int changeFlag) {
    namespace cfg = doreldb::configuracionWebGlobal;
    progress("setConfig: " + key + " = " + value);
    const std::string note = "setConfig " + key + " = " + value;
    logAlways(5, "REMOTE_CONTROL::: %s", note.c_str());
    logf(5, "%s", note.c_str());

    std::vector<doreldb::Record> rows;
    if (doreldb::selectRows(rows, db_, cfg::table(), " WHERE nombre LIKE %Q ", key.c_str()) != SQLITE_OK) {
        logf(3, "setConfig: could not read the stored value of %s", key.c_str());
        return false;
    }
    // LIKE also matches other spellings ('_' is a wildcard): only the exact
    // key is this setting.
    doreldb::Record* stored = nullptr;
    for (doreldb::Record& row : rows) {
        if (row.text(cfg::nombre) == key) {
            stored = &row;
            break;
        }
    }

    bool written;
    if (stored == nullptr) {
        doreldb::Record row(cfg::table());
        row.set(cfg::nombre, key);
        row.set(cfg::valor, value);
        written = doreldb::insert(db_, row) == SQLITE_OK;
    } else if (stored->isNull(cfg::valor) || stored->text(cfg::valor) != value) {
        stored->set(cfg::valor, value);
        written = doreldb::update(db_, *stored) == SQLITE_OK;
    } else {
        return true;
    }
    if (changeFlag != kChangeNone) addChange(changeFlag);
    return written;
}

}  // namespace dorel_remote_control
