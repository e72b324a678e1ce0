// Sections stored as keys of configuracionWebGlobal: a table of element ->
// key, walked by one routine that writes each known child through setConfig.
// The values are stored as received.
#pragma once

#include "commands/core/setting_sections.h"
#include "commands/setconfig/section_context.h"

#include <cstddef>

namespace dorel_remote_control {

struct KeyTable {
    const SettingElement* settings;
    size_t count;
    int changeFlag;        // joins the change set when a key changed
};

template <size_t N>
constexpr KeyTable keyTable(const SettingElement (&settings)[N], int changeFlag) {
    return KeyTable{settings, N, changeFlag};
}

// Stores every child of `element` that the table knows (first match wins),
// skipping the others silently. A failed write fails with
// "Could not set <element>/<child>".
bool walkKeySection(SetConfigContext& context, const KeyTable& table, const XmlNode* element);

}  // namespace dorel_remote_control
