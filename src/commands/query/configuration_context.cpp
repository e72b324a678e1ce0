#include "commands/query/configuration_context.h"

#include "db/tables.h"

#include <cstring>
#include "server/settings.h"

namespace dorel_remote_control {

ConfigurationContext::ConfigurationContext(XmlDocument& doc, doreldb::HeadendRows& rows, const std::string& model)
    : doc_(doc),
      rows_(rows),
      groupA_(isModelGroupA(model)),
      wmbG400_(isWmbG400(model)),
      kvdCd5_(isKvdCd5(model)) {
    namespace cfg = doreldb::configuracionWebGlobal;
    for (const doreldb::Record& row : rows_.table(cfg::table()).all()) {
        // The first row of a name wins, as a lookup by name would find it.
        settings_.emplace(row.text(cfg::nombre), row.text(cfg::valor));
    }
}

XmlNode* ConfigurationContext::add(XmlNode* parent, const char* name, const char* value, size_t size) {
    XmlNode* node = doc_.allocate_node(rapidxml::node_element, name);
    if (size > 0) node->value(doc_.allocate_string(value, size), size);
    parent->append_node(node);
    return node;
}

std::string ConfigurationContext::setting(const char* name) const {
    auto found = settings_.find(name);
    return found == settings_.end() ? std::string() : found->second;
}

XmlNode* ConfigurationContext::addSetting(XmlNode* parent, const char* name, const char* setting) {
    return add(parent, name, this->setting(setting));
}

bool unlessWmbG400(const ConfigurationContext& context, const doreldb::Record&) { return !context.wmbG400(); }
bool unlessKvdCd5(const ConfigurationContext& context, const doreldb::Record&) { return !context.kvdCd5(); }

void addColumn(ConfigurationContext& context, XmlNode* parent, const doreldb::Record& row, const ColumnElement& element) {
    if (element.include != nullptr && !element.include(context, row)) return;
    const doreldb::tSqlite3parent& stored = row.value(element.column);
    if (element.coder != nullptr) {
        context.add(parent, element.element, element.coder(stored.str()));
    } else if (const char* text = stored.c_str()) {
        context.add(parent, element.element, text, strlen(text));
    } else {
        context.add(parent, element.element);   // NULL reads as empty text
    }
}

}  // namespace dorel_remote_control
