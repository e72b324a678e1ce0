// Sending "modules" sections of setConfiguration to a simulated headend and
// reading back the rows they leave: documents are built from one "module"
// element per dev-kit module, with the children a test wants.
#pragma once

#include "commands/core/result_codes.h"
#include "commands/setconfig/setconfig_fixture.h"
#include "db/tables.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace rctest {

constexpr const char* kModulesConfigDb = "/dorel/DB/config_global.sqlite";

// The dev kit's MAC of module m (1-based).
inline std::string moduleMac(int m) {
    char text[32];
    std::snprintf(text, sizeof text, "00:1A:2B:00:%02X:%02X", (m >> 8) & 0xFF, m & 0xFF);
    return text;
}

// "<module><mac>MAC</mac>CHILDREN</module>"
inline std::string moduleElement(int m, const std::string& children = "") {
    return "<module><mac>" + moduleMac(m) + "</mac>" + children + "</module>";
}

// A "modules" section naming the dev kit's modules 1..count in order, module m
// with children[m] (when given).
inline std::string modulesSection(int count, const std::map<int, std::string>& children = {}) {
    std::string modules;
    for (int m = 1; m <= count; ++m) {
        auto found = children.find(m);
        modules += moduleElement(m, found == children.end() ? "" : found->second);
    }
    return "<modules>" + modules + "</modules>";
}

// Every row of every table of config_global of a headend.
inline std::map<std::string, Rows> configRowsOf(const HeadendRoot& root) {
    std::map<std::string, Rows> all;
    for (const doreldb::TableEntry& entry : doreldb::allTables()) {
        if (std::string(entry.database) != "config_global") continue;
        all[entry.table->name()] = root.query(kModulesConfigDb, "SELECT * FROM " + entry.table->name() + " ORDER BY rowid");
    }
    return all;
}

// A failed section's two entries: the handler's own, then 202.
inline Errors sectionFailure(int code, const std::string& detail) {
    return {{code, detail}, {dorel_remote_control::kCouldNotSetConfiguration, "Could not set configuration"}};
}

class ModulesTest : public SetConfigTest {
protected:
    Errors apply(const std::string& sections) { return applyErrors(sections); }
    // Runs a "modules" section for the default two modules.
    Errors applyModules(const std::map<int, std::string>& children) { return apply(modulesSection(2, children)); }

    Rows rows(const std::string& sql) const { return query(sql); }
    std::string value(const std::string& sql) const {
        Rows result = query(sql);
        return result.empty() || result[0].empty() ? "<none>" : result[0][0];
    }
    void exec(const std::string& sql) const { root_.exec(kConfigDb, sql); }

    // Every row of every table of config_global, for whole-headend comparisons.
    std::map<std::string, Rows> allConfigRows() const { return configRowsOf(root_); }

    // Refuses every write to a table, to show that nothing was written.
    void forbidWrites(const std::string& table) const {
        exec("CREATE TRIGGER noUpdate" + table + " BEFORE UPDATE ON " + table +
             " BEGIN SELECT RAISE(ABORT, 'no writes'); END");
        exec("CREATE TRIGGER noInsert" + table + " BEFORE INSERT ON " + table +
             " BEGIN SELECT RAISE(ABORT, 'no writes'); END");
    }
};

}  // namespace rctest
