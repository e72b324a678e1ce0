#include "commands/setconfig/section_context.h"

#include "commands/core/result_codes.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"

#include <cstdio>

namespace dorel_remote_control {

void reportSetConfigError(Env& env, ResultDocument& result, int code, const std::string& detail,
                          const std::string& logged) {
    result.addError(code, detail);
    const char* text = !logged.empty() ? logged.c_str() : detail.empty() ? resultCodeText(code) : detail.c_str();
    env.log(3, "Error %i, %s", code, text);
    env.logAlways(kCollectorPriority, "r9::: Error %i, %s", code, text);
}

bool SetConfigContext::fail(int code, const std::string& detail) {
    reportSetConfigError(env(), result_, code, detail);
    return false;
}

bool SetConfigContext::failToSet(const std::string& path) {
    const std::string where = "Could not set " + path;
    progress(where);
    reportSetConfigError(env(), result_, kCouldNotAccessDatabase, "Could not set value", where);
    return false;
}

void SetConfigContext::progress(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

bool SetConfigContext::findSetting(const std::string& key, doreldb::Record*& row) {
    namespace cfg = doreldb::configuracionWebGlobal;
    if (!settingsRead_) {
        if (doreldb::selectRows(settings_, db_, cfg::table(), nullptr) != SQLITE_OK) return false;
        settingsRead_ = true;
    }
    row = nullptr;
    for (doreldb::Record& candidate : settings_) {
        if (candidate.text(cfg::nombre) == key) {
            row = &candidate;
            break;
        }
    }
    return true;
}

bool SetConfigContext::setConfig(const std::string& key, const std::string& value, int changeFlag) {
    namespace cfg = doreldb::configuracionWebGlobal;
    progress("setConfig: " + key + " = " + value);
    const std::string note = "setConfig " + key + " = " + value;
    env().logAlways(5, "REMOTE_CONTROL::: %s", note.c_str());
    env().log(5, "%s", note.c_str());

    doreldb::Record* stored = nullptr;
    if (!findSetting(key, stored)) {
        env().log(3, "setConfig: could not read the stored value of %s", key.c_str());
        return false;
    }

    bool written;
    if (stored == nullptr) {
        doreldb::Record row(cfg::table());
        row.set(cfg::nombre, key);
        row.set(cfg::valor, value);
        written = doreldb::insert(db_, row) == SQLITE_OK;
        if (written) settings_.push_back(row);
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
