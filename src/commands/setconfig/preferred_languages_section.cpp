// "preferredLanguages": the audio languages in order of preference, replacing
// AudioLanguageListGlobal.
//
//   <preferredLanguages><language>spa</language>...</preferredLanguages>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace col = doreldb::AudioLanguageListGlobal;

const ListSection kPreferredLanguages = {
    &col::table, "language", kInvalidCommand, "language expected", RuleTable{nullptr, 0},
    "Could not delete preferredLanguages", "Could not insert preferredLanguage",
    false, "REMOTE_CONTROL::: New preferredLanguage ", nullptr, col::AudioCode,
};

}  // namespace

bool applyPreferredLanguagesSection(SetConfigContext& context, const XmlNode* section) {
    return replaceTable(context, kPreferredLanguages, section);
}

}  // namespace dorel_remote_control
