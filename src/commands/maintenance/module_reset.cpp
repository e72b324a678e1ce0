#include "commands/maintenance/module_reset.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "common/log.h"
#include "common/paths.h"
#include "common/shell.h"
#include "db/table_rows.h"
#include "db/tables.h"
#include "server/settings.h"

#include <cstdio>
#include <cstdlib>

namespace dorel_remote_control {

std::string moduleResetCommandLine(const std::string& address, const char* method) {
    return paths::clienteXmlRpc() + " " + shellQuote(address) + " " + method;
}

namespace {

int runLogged(const std::string& line) {
    logf(7, "Executing: %s", line.c_str());
    return runShell(line);
}

}  // namespace

bool ModuleResetCommand::collectMacs(std::vector<std::string>& macs) {
    XmlNode* modules = requiredParameter("modules", "Could not find 'modules' field");
    if (modules == nullptr) return false;
    XmlNode* mac = childElement(modules, "mac");
    for (; mac != nullptr; mac = mac->next_sibling()) {
        if (mac->type() == rapidxml::node_element) macs.push_back(nodeText(mac));
    }
    if (!macs.empty()) return true;

    doreldb::DbHandle configGlobal = openDatabaseOrReport(paths::configGlobalDb());
    if (!configGlobal) return false;
    for (const doreldb::Record& row : doreldb::doSelect(configGlobal.get(), doreldb::RedesModulos::table())) {
        macs.push_back(row.text(doreldb::RedesModulos::MAC));
    }
    return true;
}

void ModuleResetCommand::execute() {
    startResult();
    std::vector<std::string> macs;
    if (!collectMacs(macs)) return;
    doreldb::DbHandle tempGlobal = openDatabaseOrReport(paths::tempGlobalDb());
    if (!tempGlobal) return;

    // The module table is read once for the whole list.
    doreldb::HeadendRows rows(nullptr, tempGlobal.get());
    doreldb::TableRows& modules = rows.table(doreldb::ModulosCabecera::table());
    const std::string ownMac = settings().mac();
    bool rebootSelf = false;
    for (const std::string& mac : macs) {
        if (kind_.rebootsController && !ownMac.empty() && mac == ownMac) {
            rebootSelf = true;
            continue;
        }
        const doreldb::Record* module =
            modules.first({{doreldb::ModulosCabecera::MAC, doreldb::tSqlite3parent(mac)}});
        if (module == nullptr) {
            logf(3, "%s: no module with MAC %s", name().c_str(), mac.c_str());
            addError(kCouldNotFindModule, mac);
            continue;
        }
        const std::string address = module->text(doreldb::ModulosCabecera::Direccion);
        if (runLogged(moduleResetCommandLine(address, kind_.method)) != 0) {
            logf(3, "%s: reset of %s failed", name().c_str(), mac.c_str());
            addError(kind_.failureCode, mac);
        }
    }
    tempGlobal.reset();
    if (rebootSelf) rebootController();
}

void ModuleResetCommand::rebootController() {
    setStatus(kStatusFinished);
    result().setCompletionMark(!result().hasErrors());
    if (!save(*this)) {
        logf(3, "%s: could not store the result before rebooting", name().c_str());
        addError(kCouldNotAccessDatabase);
    }
    runLogged(paths::rebootCommand());
    fflush(nullptr);
    std::exit(0);
}

}  // namespace dorel_remote_control
