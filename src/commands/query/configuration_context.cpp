#include "commands/query/configuration_context.h"

#include "db/tables.h"

#include <cstring>
#include "server/settings.h"

namespace dorel_remote_control {

ConfigurationContext::ConfigurationContext(XmlWriter& out, doreldb::HeadendRows& rows, const std::string& model,
                                           const Paths& paths)
    : out_(out),
      paths_(paths),
      rows_(rows),
      groupA_(isModelGroupA(model)),
      wmbG400_(isWmbG400(model)),
      kvdCd5_(isKvdCd5(model)) {
    namespace cfg = doreldb::configuracionWebGlobal;
    for (const doreldb::Record& row : rows_.table(cfg::table()).all()) {
        // The first row of a name wins, as a lookup by name would find it.
        settings_.emplace(row.text(cfg::nombre), row.text(cfg::valor));
    }
    release(cfg::table());
}

std::string ConfigurationContext::setting(const char* name) const {
    auto found = settings_.find(name);
    return found == settings_.end() ? std::string() : found->second;
}

void ConfigurationContext::addSetting(const char* name, const char* key) { add(name, setting(key)); }

bool unlessWmbG400(const ConfigurationContext& context, const doreldb::Record&) { return !context.wmbG400(); }

void addColumn(ConfigurationContext& context, const doreldb::Record& row, const ColumnElement& element) {
    if (element.include != nullptr && !element.include(context, row)) return;
    const doreldb::tSqlite3parent& stored = row.value(element.column);
    if (stored.isNull() || (element.coder != nullptr && stored.view().empty())) {
        // No value (NULL, or an empty text where a code belongs): an empty
        // element, which setConfiguration takes back as no value. A code's
        // text would read as a 0.
        context.add(element.element);
    } else if (element.coder != nullptr) {
        context.add(element.element, element.coder(stored.str()));
    } else {
        const char* text = stored.c_str();
        context.add(element.element, text, strlen(text));
    }
}

}  // namespace dorel_remote_control
