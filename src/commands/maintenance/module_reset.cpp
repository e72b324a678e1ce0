#include "commands/maintenance/module_reset.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "common/env.h"
#include "db/table_rows.h"
#include "db/tables.h"
#include "server/settings.h"

#include <cstdio>
#include <cstdlib>

namespace dorel_remote_control {

namespace {

int runLogged(Env& env, const ProgramCall& call) {
    if (env.logging()) env.log(7, "Executing: %s", commandLine(env.paths(), call).c_str());
    return env.run(call).exitCode;
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

    doreldb::DbHandle configGlobal = openDatabaseOrReport(env().paths().configGlobalDb());
    if (!configGlobal) return false;
    for (const doreldb::Record& row : doreldb::doSelect(configGlobal, doreldb::RedesModulos::table())) {
        macs.push_back(row.text(doreldb::RedesModulos::MAC));
    }
    return true;
}

void ModuleResetCommand::execute() {
    startResult();
    std::vector<std::string> macs;
    if (!collectMacs(macs)) return;
    doreldb::DbHandle tempGlobal = openDatabaseOrReport(env().paths().tempGlobalDb());
    if (!tempGlobal) return;

    // The module table is read once for the whole list.
    doreldb::HeadendRows rows(nullptr, &tempGlobal);
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
            fail(kCouldNotFindModule, mac, "%s: no module with MAC %s", name().c_str(), mac.c_str());
            continue;
        }
        const std::string address = module->text(doreldb::ModulosCabecera::Direccion);
        ProgramCall call(Program::kClienteXmlRpcReset, {{address, ProgramArgument::kDouble}, kind_.method});
        if (kind_.script != nullptr) call.arguments.emplace_back(kind_.script, ProgramArgument::kSingle);
        if (runLogged(env(), call) != 0) {
            fail(kind_.failureCode, mac, "%s: reset of %s failed", name().c_str(), mac.c_str());
        }
    }
    tempGlobal.reset();
    if (rebootSelf) rebootController();
}

void ModuleResetCommand::rebootController() {
    setStatus(kStatusFinished);
    result().setCompletionMark(!result().hasErrors());
    if (!save(*this)) {
        fail(kCouldNotAccessDatabase, std::string(), "%s: could not store the result before rebooting", name().c_str());
    }
    runLogged(env(), {Program::kReboot});
    fflush(nullptr);
    std::exit(0);
}

}  // namespace dorel_remote_control
