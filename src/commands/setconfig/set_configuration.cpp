#include "commands/setconfig/set_configuration.h"

#include "commands/core/result_codes.h"
#include "commands/query/quor_key_tool.h"
#include "commands/setconfig/country_change.h"
#include "commands/setconfig/modules_section.h"
#include "common/xml_tokens.h"
#include "commands/setconfig/sections.h"
#include "common/env.h"
#include "db/access.h"
#include "server/settings.h"

#include <strings.h>

namespace dorel_remote_control {

namespace {

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
    {"modules", nullptr},
};

// Where the first child of the command element named "configuration" (letter
// case ignored) starts in its content, or npos; the walk stops there.
size_t configurationStart(std::string_view content) {
    XmlTokens tokens(content.data(), content.size());
    int depth = 0;
    for (;;) {
        const XmlToken token = tokens.next();
        switch (token.kind) {
        case XmlToken::End:
        case XmlToken::Malformed:
            return std::string_view::npos;
        case XmlToken::EndTag:
            --depth;
            break;
        case XmlToken::StartTag:
        case XmlToken::EmptyTag:
            if (depth == 0 && sameNameNoCase(std::string_view(token.name, token.nameLength), "configuration")) {
                return token.begin;
            }
            if (token.kind == XmlToken::StartTag) ++depth;
            break;
        case XmlToken::Text:
            break;
        }
    }
}

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
    // its text): one walk over it finds the configuration and hands over each
    // section as it ends. The text was checked when the command was made.
    const std::string_view content = commandXml().content;
    const size_t at = configurationStart(content);
    if (at == std::string_view::npos) {
        report(kInvalidCommand);
        return;
    }
    const std::string_view configuration = content.substr(at);
    doreldb::DbHandle db = doreldb::openDatabase(env(), env().paths().configGlobalDb());
    if (!db) {
        report(kCouldNotAccessDatabase, "Could not open DB");
        return;
    }
    doreldb::keepPageCacheSmall(db);
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

bool CmdSetConfiguration::applySections(SetConfigContext& context, std::string_view text) {
    // Depth 1 is inside the configuration element, 2 inside a section, 3
    // inside one of the modules section's elements.
    XmlTokens tokens(text.data(), text.size());
    int depth = 0;
    XmlToken section;
    const SectionEntry* entry = nullptr;
    std::unique_ptr<ModulesSection> modules;
    XmlToken child;
    ModuleOutline outline;
    XmlToken identityStart;
    int identity = kIdentities;
    for (;;) {
        const XmlToken token = tokens.next();
        if (token.kind == XmlToken::End || token.kind == XmlToken::Malformed) return true;
        if (token.kind == XmlToken::Text) continue;
        const std::string_view name(token.name, token.nameLength);
        if (token.kind == XmlToken::EndTag) {
            --depth;
            if (depth == 0) return true;  // the configuration's end
            const std::string_view ended = text.substr(section.begin, token.end - section.begin);
            if (depth == 1 && !applySection(context, entry, modules, ended)) return false;
            if (depth == 2 && modules) {
                outline.element.text = text.substr(child.begin, token.end - child.begin);
                outline.element.content = text.substr(child.end, token.begin - child.end);
                modules->add(outline);
            }
            if (depth == 3 && modules && identity != kIdentities) {
                outline.identity[identity] = text.substr(identityStart.begin, token.end - identityStart.begin);
                identity = kIdentities;
            }
            continue;
        }
        const bool empty = token.kind == XmlToken::EmptyTag;
        const std::string_view element = text.substr(token.begin, token.end - token.begin);
        if (depth == 0 && empty) return true;  // an empty configuration
        if (depth == 1) {
            section = token;
            entry = startSection(context, std::string(name), modules);
            if (empty && !applySection(context, entry, modules, element)) return false;
        } else if (depth == 2 && modules) {
            child = token;
            outline = ModuleOutline();
            outline.element.name = name;
            outline.element.depth = commandXml().depth + 3;
            if (empty) {
                outline.element.text = element;
                outline.element.content = text.substr(token.end, 0);
                modules->add(outline);
            }
        } else if (depth == 3 && modules) {
            const int which = identityOf(name);
            if (which != kIdentities && outline.identity[which].data() == nullptr) {
                if (empty) {
                    outline.identity[which] = element;
                } else {
                    identity = which;
                    identityStart = token;
                }
            }
        }
        if (!empty) ++depth;
    }
}

const SectionEntry* CmdSetConfiguration::startSection(SetConfigContext& context, const std::string& name,
                                                      std::unique_ptr<ModulesSection>& modules) {
    SetConfigContext::progress("Processing: " + name);
    const SectionEntry* entry = findSection(name);
    if (entry == nullptr) {
        env().logAlways(kCollectorPriority, "r9::: Unknown configuration setting: %s", name.c_str());
        env().log(3, "Unknown configuration setting: %s", name.c_str());
    } else if (entry->handler == nullptr) {
        modules = std::make_unique<ModulesSection>(context);
    }
    return entry;
}

bool CmdSetConfiguration::applySection(SetConfigContext& context, const SectionEntry* entry,
                                       std::unique_ptr<ModulesSection>& modules, std::string_view text) {
    if (entry == nullptr) return true;
    if (modules) {
        const bool applied = modules->finish();
        modules.reset();
        return applied;
    }
    // One section's tree at a time, gone before the next is read.
    const ParsedXml tree(text.data(), text.size());
    return entry->handler(context, tree.doc().first_node());
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
