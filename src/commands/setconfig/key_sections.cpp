// The walker of the sections stored in configuracionWebGlobal, and those
// sections (their tables are shared with getConfiguration).
#include "commands/setconfig/key_tables.h"
#include "commands/setconfig/sections.h"

#include "commands/setconfig/value_rules.h"

namespace dorel_remote_control {

namespace {

const SettingElement* findSetting(const KeyTable& table, const XmlNode* child) {
    for (size_t i = 0; i < table.count; ++i) {
        if (nameIs(child, table.settings[i].element)) return &table.settings[i];
    }
    return nullptr;
}

}  // namespace

bool walkKeySection(SetConfigContext& context, const KeyTable& table, const XmlNode* section) {
    for (const XmlNode* child : childElements(section)) {
        const SettingElement* setting = findSetting(table, child);
        if (setting == nullptr) continue;
        if (!context.setConfig(setting->setting, nodeText(child), table.changeFlag)) {
            return context.failToSet(nodeName(section) + "/" + nodeName(child));
        }
    }
    return true;
}

bool applyIdentificationSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kIdentificationSettings, kChangeNone), section);
}

bool applyRegionalSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kRegionalSettings, kChangeRegional), section);
}

bool applyRemoteControlSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kRemoteControlSettings, kChangeRemoteControl), section);
}

bool applyNetworkSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kNetworkSettings, kChangeNetwork), section);
}

bool applyLnbSection(SetConfigContext& context, const XmlNode* section) {
    return walkKeySection(context, keyTable(kLnbSettings, kChangeNone), section);
}

// The rating is the section's own text, not a child's.
bool applyMaturityRatingSection(SetConfigContext& context, const XmlNode* section) {
    return context.setConfig("MaturityRating", nodeText(section), kChangeNone) || context.failToSet(nodeName(section));
}

}  // namespace dorel_remote_control
