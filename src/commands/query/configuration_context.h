// What every section of the configuration document is written from: the
// writer of the document's text, the settings, the headend's tables (each
// read once per document), the controller model's branches, and the module
// being written.
#pragma once

#include "commands/core/setting_sections.h"

#include "commands/query/configuration_codes.h"
#include "common/paths.h"
#include "common/xml_writer.h"
#include "db/table_rows.h"

#include <map>
#include <string>

namespace dorel_remote_control {

class ConfigurationContext {
public:
    // The document is written to out, element after element; the SI table
    // files are found under paths.
    ConfigurationContext(XmlWriter& out, doreldb::HeadendRows& rows, const std::string& model, const Paths& paths);

    const Paths& paths() const { return paths_; }

    doreldb::HeadendRows& rows() { return rows_; }
    doreldb::TableRows& table(const doreldb::TableDef& definition) { return rows_.table(definition); }
    // Frees a table's rows once no section left to write needs them (a
    // later table() of it would find it empty).
    void release(const doreldb::TableDef& definition) { rows_.table(definition) = doreldb::TableRows(); }

    // Model branches.
    bool modelGroupA() const { return groupA_; }   // KVA-100, KVB-200, KVC-300
    bool wmbG400() const { return wmbG400_; }
    bool kvdCd5() const { return kvdCd5_; }

    // The module whose lists are being written.
    struct Module {
        bool cam = false;          // family 36, model neither 2 nor 13: has a CAM
        bool cloneCapable = false; // family 36, model other than 2
        bool cableRf = false;      // modulates DVB-C (ModoSalidaRF non-zero)
        bool listedOnce = true;    // no other module row has its MAC
    };
    const Module& module() const { return module_; }
    void setModule(const Module& module) { module_ = module; }

    // An element with children, written until the matching close().
    void open(const char* name) { out_.open(name); }
    void close() { out_.close(); }
    // An element with text only ("" gives an empty element).
    void add(const char* name, const std::string& value = std::string()) { out_.element(name, value); }
    void add(const char* name, const char* value, size_t size) { out_.element(name, value, size); }
    // An element whose text is a setting of configuracionWebGlobal ("" when
    // the setting is absent).
    void addSetting(const char* name, const char* setting);
    std::string setting(const char* name) const;

private:
    XmlWriter& out_;
    const Paths& paths_;
    doreldb::HeadendRows& rows_;
    std::map<std::string, std::string> settings_;
    bool groupA_;
    bool wmbG400_;
    bool kvdCd5_;
    Module module_;
};

// Whether an element is written, for the context and the row it comes from.
using ElementCondition = bool (*)(const ConfigurationContext& context, const doreldb::Record& row);

// One child element taken from a column of a row, coded or as stored, written
// only when `include` (if any) says so.
struct ColumnElement {
    const char* element;
    size_t column;
    ValueCoder coder;          // null: the stored text
    ElementCondition include;  // null: always
};

// Model branches as element conditions.
bool unlessWmbG400(const ConfigurationContext& context, const doreldb::Record& row);

template <size_t N>
void addSettings(ConfigurationContext& context, const SettingElement (&elements)[N]) {
    for (const SettingElement& e : elements) context.addSetting(e.element, e.setting);
}

void addColumn(ConfigurationContext& context, const doreldb::Record& row, const ColumnElement& element);

template <size_t N>
void addColumns(ConfigurationContext& context, const doreldb::Record& row, const ColumnElement (&elements)[N]) {
    for (const ColumnElement& e : elements) addColumn(context, row, e);
}

}  // namespace dorel_remote_control
