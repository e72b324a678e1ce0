#include "server/settings.h"

#include "common/env.h"
#include "common/errors.h"
#include "db/access.h"
#include "db/tables.h"
#include "common/numbers.h"

#include <algorithm>
#include <cstdlib>

namespace dorel_remote_control {

Settings& settings() {
    static Settings instance;
    return instance;
}

namespace {

// Longest line of an identity script that is read; the rest of it is not.
constexpr size_t kLineLimit = 127;

std::string trimRight(const std::string& text) {
    const size_t end = text.find_last_not_of(" \n\r\t");
    return end == std::string::npos ? std::string() : text.substr(0, end + 1);
}

// Line `index` of a program's output (each cut at kLineLimit characters).
std::string outputLine(const std::string& output, size_t index) {
    size_t begin = 0;
    for (; index > 0; --index) {
        begin = output.find('\n', begin);
        if (begin == std::string::npos) return std::string();
        ++begin;
    }
    const size_t end = output.find('\n', begin);
    return output.substr(begin, std::min(end == std::string::npos ? output.size() : end, begin + kLineLimit) - begin);
}

}  // namespace

std::string readIdentityValue(Env& env, Program program, bool statusLine) {
    const ProgramResult run = env.run({program}, 4 * (kLineLimit + 1));
    // A script that did not end (stopped at its time-out) has told nothing.
    if (run.timedOut || run.output.empty()) return std::string();
    if (statusLine && trimRight(outputLine(run.output, 1)) != "OK") return std::string();
    return trimRight(outputLine(run.output, 0));
}

namespace {

// Reads one identity value while it is still unknown; true when it was read
// now. Throws when it stays unknown.
bool readOnce(Env& env, std::string& field, Program program, bool statusLine, const char* failure) {
    if (!field.empty()) return false;
    field = readIdentityValue(env, program, statusLine);
    if (field.empty()) {
        env.log(3, "%s", failure);
        throw ReadConfigError(failure);
    }
    return true;
}

template <class T>
void assign(T& field, const T& value, bool& changed) {
    if (field != value) {
        field = value;
        changed = true;
    }
}

}  // namespace

bool Settings::load(Env& env) {
    doreldb::DbHandle db = doreldb::openDatabase(env, env.paths().configGlobalDb());
    return load(env, db);
}

bool Settings::load(Env& env, const doreldb::DbHandle& db) {
    bool changed = readOnce(env, serialNumber_, Program::kSerial, true, "Could not read Serial Number");
    if (!loaded_) changed = true;
    changed = readOnce(env, mac_, Program::kMac, true, "Could not read MAC") || changed;
    changed = readOnce(env, model_, Program::kModelo, true, "Could not read model") || changed;
    changed = readOnce(env, hostName_, Program::kHostname, false, "Could not read hostname") || changed;

    if (!db) {
        // Keep the values held so far; the next pass tries again.
        env.log(3, "Could not open DB %s", env.paths().configGlobalDb().c_str());
        loaded_ = true;
        return changed;
    }

    namespace cfg = doreldb::configuracionWebGlobal;
    for (const doreldb::Record& row : doreldb::doSelect(db, cfg::table(), " WHERE nombre LIKE %Q ", "servidorZAT%")) {
        const std::string name = row.text(cfg::nombre);
        const std::string value = row.text(cfg::valor);
        if (name == "servidorZAT_activo") {
            assign(active_, value == "1", changed);
        } else if (name == "servidorZAT_intervalo") {
            assign(interval_, static_cast<uint32_t>(atoi32(value.c_str())), changed);
        } else if (name == "servidorZAT_direccion") {
            const std::string address = (!value.empty() && value.back() == '/') ? value : value + "/";
            assign(serverAddress_, address, changed);
        } else if (name == "servidorZAT_usuario") {
            assign(user_, value, changed);
        } else if (name == "servidorZAT_password") {
            assign(password_, value, changed);
        }
    }
    std::vector<doreldb::Record> contract =
        doreldb::doSelect(db, cfg::table(), " WHERE nombre LIKE %Q ", "identificacion_contrato");
    if (!contract.empty()) assign(contractId_, contract.front().text(cfg::valor), changed);

    loaded_ = true;
    return changed;
}

bool isModelGroupA(const std::string& model) {
    return model == "KVA-100" || model == "KVB-200" || model == "KVC-300";
}
bool isWmbG400(const std::string& model) { return model == "WMB-G400"; }
bool isKvdCd5(const std::string& model) { return model == "KVD-CD5"; }

}  // namespace dorel_remote_control
