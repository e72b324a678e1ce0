#include "server/settings.h"

#include "common/errors.h"
#include "common/log.h"
#include "common/paths.h"
#include "common/shell.h"
#include "db/access.h"
#include "db/tables.h"
#include "common/numbers.h"

#include <cstdlib>

namespace dorel_remote_control {

Settings& settings() {
    static Settings instance;
    return instance;
}

std::string readIdentityValue(const std::string& commandLine, bool statusLine) {
    ReadPipe pipe(commandLine);
    if (!pipe.ok()) return std::string();
    std::string value;
    if (!pipe.readLine(value)) return std::string();
    if (statusLine) {
        std::string status;
        if (!pipe.readLine(status) || trimRight(status) != "OK") return std::string();
    }
    return trimRight(value, " \n\r\t");
}

namespace {

// Reads one identity value while it is still unknown; true when it was read
// now. Throws when it stays unknown.
bool readOnce(std::string& field, const std::string& commandLine, bool statusLine, const char* failure) {
    if (!field.empty()) return false;
    field = readIdentityValue(commandLine, statusLine);
    if (field.empty()) {
        logf(3, "%s", failure);
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

bool Settings::load() {
    doreldb::DbHandle db = doreldb::openDatabase(paths::configGlobalDb());
    return load(db.get());
}

bool Settings::load(sqlite3* db) {
    bool changed = readOnce(serialNumber_, paths::serialScript(), true, "Could not read Serial Number");
    if (!loaded_) changed = true;
    changed = readOnce(mac_, paths::macScript(), true, "Could not read MAC") || changed;
    changed = readOnce(model_, paths::modeloScript(), true, "Could not read model") || changed;
    changed = readOnce(hostName_, paths::hostnameCommand(), false, "Could not read hostname") || changed;

    if (!db) {
        // Keep the values held so far; the next pass tries again.
        logf(3, "Could not open DB %s", paths::configGlobalDb().c_str());
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
bool isKvdAb5(const std::string& model) { return model == "KVD-AB5"; }
bool isModelGroupB(const std::string& model) { return model == "KVB-200" || model == "KVB-210"; }
bool isKvc300(const std::string& model) { return model == "KVC-300"; }
bool isKvdCd5(const std::string& model) { return model == "KVD-CD5"; }

}  // namespace dorel_remote_control
