#include "commands/setconfig/set_configuration.h"

#include "commands/core/result_codes.h"
#include "commands/query/quor_key_tool.h"
#include "commands/setconfig/country_change.h"
#include "commands/setconfig/modules_section.h"
#include "commands/setconfig/sections.h"
#include "common/env.h"
#include "db/access.h"
#include "server/settings.h"

#include <strings.h>

namespace dorel_remote_control {

namespace {

struct SectionEntry {
    const char* name;
    SectionHandler handler;
};

// Tried in this order; the first match wins.
const SectionEntry kSections[] = {
    {"identification", &applyIdentificationSection},
    {"regional", &applyRegionalSection},
    {"maturityRating", &applyMaturityRatingSection},
    {"maintenances", &applyMaintenancesSection},
    {"homeChannels", &applyHomeChannelsSection},
    {"serviceEPGs", &applyServiceEpgsSection},
    {"remoteControl", &applyRemoteControlSection},
    {"network", &applyNetworkSection},
    {"dvbNetworks", &applyDvbNetworksSection},
    {"lnb", &applyLnbSection},
    {"diseqcs", &applyDiseqcsSection},
    {"preferredLanguages", &applyPreferredLanguagesSection},
    {"scramblings", &applyScramblingsSection},
    {"modules", &applyModulesSection},
};

}  // namespace

SectionHandler findSection(const std::string& name) {
    for (const SectionEntry& entry : kSections) {
        if (strcasecmp(entry.name, name.c_str()) == 0) return entry.handler;
    }
    return nullptr;
}

void CmdSetConfiguration::report(int code, const std::string& detail) {
    reportSetConfigError(env(), result(), code, detail);
}

void CmdSetConfiguration::execute() {
    startResult();
    const XmlNode* configuration = childElementNoCase(commandElement(), "configuration");
    if (configuration == nullptr) {
        report(kInvalidCommand);
        return;
    }
    doreldb::DbHandle db = doreldb::openDatabase(env(), env().paths().configGlobalDb());
    if (!db) {
        report(kCouldNotAccessDatabase, "Could not open DB");
        return;
    }
    SetConfigContext context(db, result(), settings().model());
    doreldb::Transaction transaction(db);
    if (transaction.begin() != SQLITE_OK) {
        report(kCouldNotAccessDatabase, "Could not start transaction");
        return;
    }
    if (!applySections(context, configuration)) {
        if (transaction.rollback() != SQLITE_OK) report(kCouldNotAccessDatabase, "Could not rollback transaction");
        report(kCouldNotSetConfiguration);
        result().setCompletionMark(false);
        return;
    }
    if (transaction.commit() != SQLITE_OK) {
        report(kCouldNotAccessDatabase, "Could not commit transaction");
        if (transaction.rollback() != SQLITE_OK) report(kCouldNotAccessDatabase, "Could not rollback transaction");
        return;
    }
    db.reset();
    runFollowUp(context);
}

bool CmdSetConfiguration::applySections(SetConfigContext& context, const XmlNode* configuration) {
    for (const XmlNode* section = configuration->first_node(); section != nullptr; section = section->next_sibling()) {
        if (section->type() != rapidxml::node_element) continue;
        const std::string name = nodeName(section);
        SetConfigContext::progress("Processing: " + name);
        SectionHandler handler = findSection(name);
        if (handler == nullptr) {
            env().logAlways(kCollectorPriority, "r9::: Unknown configuration setting: %s", name.c_str());
            env().log(3, "Unknown configuration setting: %s", name.c_str());
            continue;
        }
        if (!handler(context, section)) return false;
    }
    return true;
}

void CmdSetConfiguration::runFollowUp(const SetConfigContext& context) {
    if (context.hasChange(kChangeNetwork) && env().run({Program::kWanFromDb}).exitCode != 0) {
        report(kCouldNotApplyNetwork);
        result().setCompletionMark(false);
        return;
    }
    if (context.hasChange(kChangeRegional)) applyCountryChanged(env());
    if (!isWmbG400(context.model()) || !context.hasChange(kChangeScrambling)) {
        result().setCompletionMark(true);
        return;
    }
    if (runQuorKey(env(), QuorKeyRun::kRebuildKeyFile) == 0) {
        result().setCompletionMark(true);
    } else {
        report(kErrorRegeneratingKey);
        result().setCompletionMark(false);
    }
}

}  // namespace dorel_remote_control
