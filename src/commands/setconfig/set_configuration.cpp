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

// Tried in this order; the first match wins.
const SectionEntry kSections[] = {
    {"identification", &applyIdentificationSection, nullptr},
    {"regional", &applyRegionalSection, nullptr},
    {"maturityRating", &applyMaturityRatingSection, nullptr},
    {"maintenances", &applyMaintenancesSection, nullptr},
    {"homeChannels", &applyHomeChannelsSection, nullptr},
    {"serviceEPGs", &applyServiceEpgsSection, nullptr},
    {"remoteControl", &applyRemoteControlSection, nullptr},
    {"network", &applyNetworkSection, nullptr},
    {"dvbNetworks", &applyDvbNetworksSection, nullptr},
    {"lnb", &applyLnbSection, nullptr},
    {"diseqcs", &applyDiseqcsSection, nullptr},
    {"preferredLanguages", &applyPreferredLanguagesSection, nullptr},
    {"scramblings", &applyScramblingsSection, nullptr},
    {"modules", nullptr, &applyModulesSection},
};

}  // namespace

const SectionEntry* findSection(const std::string& name) {
    for (const SectionEntry& entry : kSections) {
        if (strcasecmp(entry.name, name.c_str()) == 0) return &entry;
    }
    return nullptr;
}

void CmdSetConfiguration::report(int code, const std::string& detail) {
    reportSetConfigError(env(), result(), code, detail);
}

void CmdSetConfiguration::execute() {
    startResult();
    // The document is never parsed whole (its tree would cost several times
    // its text): the walk finds the configuration, then each section in turn.
    // The text was checked when the command was made, so the walk refuses
    // nothing here.
    XmlChildren children(commandXml());
    bool found = false;
    while (!found && children.next()) {
        const std::string_view name = children.child().name;
        found = name.size() == 13 && strncasecmp(name.data(), "configuration", 13) == 0;
    }
    if (!found) {
        report(kInvalidCommand);
        return;
    }
    const XmlElement configuration = children.child();
    doreldb::DbHandle db = doreldb::openDatabase(env(), env().paths().configGlobalDb());
    if (!db) {
        report(kCouldNotAccessDatabase, "Could not open DB");
        return;
    }
    // The section's tables are read once and kept as rows, so SQLite's own
    // cache of their pages only doubles what is held; a small one still keeps
    // a transaction's written pages in memory up to a few hundred services.
    sqlite3_exec(db.get(), "PRAGMA cache_size = -256", nullptr, nullptr, nullptr);
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

bool CmdSetConfiguration::applySections(SetConfigContext& context, const XmlElement& configuration) {
    XmlChildren sections(configuration);
    while (sections.next()) {
        const XmlElement& section = sections.child();
        const std::string name(section.name);
        SetConfigContext::progress("Processing: " + name);
        const SectionEntry* entry = findSection(name);
        if (entry == nullptr) {
            env().logAlways(kCollectorPriority, "r9::: Unknown configuration setting: %s", name.c_str());
            env().log(3, "Unknown configuration setting: %s", name.c_str());
            continue;
        }
        if (entry->streamed != nullptr) {
            if (!entry->streamed(context, section)) return false;
            continue;
        }
        // One section's tree at a time, gone before the next is read.
        const ParsedXml tree(section.text.data(), section.text.size());
        if (!entry->handler(context, tree.doc().first_node())) return false;
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
