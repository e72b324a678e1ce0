// setConfiguration documents run against a simulated headend; the tests read
// back the rows of config_global and the stand-in programs' calls.
#pragma once

#include "db/tables.h"
#include "support/command_test.h"

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace rctest {

// A failed section's two entries: the handler's own, then 202.
inline Errors sectionFailure(int code, const std::string& detail) {
    return {{code, detail}, {dorel_remote_control::kCouldNotSetConfiguration, "Could not set configuration"}};
}

// The dev kit's MAC of module m (1-based).
inline std::string moduleMac(int m) {
    char text[32];
    std::snprintf(text, sizeof text, "00:1A:2B:00:%02X:%02X", (m >> 8) & 0xFF, m & 0xFF);
    return text;
}
inline std::string moduleElement(int m, const std::string& children = "") {
    return "<module><mac>" + moduleMac(m) + "</mac>" + children + "</module>";
}
// A "modules" section naming the dev kit's modules 1..count, module m with children.at(m) when given.
inline std::string modulesSection(int count, const std::map<int, std::string>& children = {}) {
    std::string modules;
    for (int m = 1; m <= count; ++m) modules += moduleElement(m, children.count(m) ? children.at(m) : "");
    return "<modules>" + modules + "</modules>";
}

class SetConfigTest : public CommandTest {
protected:
    explicit SetConfigTest(const std::vector<std::string>& headendArgs = {"--no-certs"}) : CommandTest(headendArgs) {}

    std::shared_ptr<dorel_remote_control::Command> apply(const std::string& sections) {
        return run("setConfiguration", "<configuration>" + sections + "</configuration>");
    }
    Errors applyErrors(const std::string& sections) { return apply(sections)->result().errors(); }
    Errors applyModules(const std::map<int, std::string>& children) { return applyErrors(modulesSection(2, children)); }

    void exec(const std::string& sql) const { root_.exec(kConfigDb, sql); }
    std::string value(const std::string& sql) const {
        const Rows rows = query(sql);
        return rows.empty() || rows[0].empty() ? "<none>" : rows[0][0];
    }
    // The follow-up programs' calls in order (without the identity scripts that loading the settings runs).
    std::vector<std::string> followUps() const {
        std::vector<std::string> calls;
        for (const std::string& line : root_.stubCalls()) {
            for (const char* program : {"/dorel/script/WAN_from_DB.sh", "/dorel/script/get_time_offsets.sh",
                                        "/etc/init.d/S60crond", "/dorel/bin/QuorKey"}) {
                if (line.rfind(program, 0) == 0) calls.push_back(line);
            }
        }
        return calls;
    }
    // Every row of every table of config_global.
    std::map<std::string, Rows> configRows() const {
        std::map<std::string, Rows> all;
        for (const doreldb::TableEntry& entry : doreldb::allTables()) {
            if (std::string(entry.database) != "config_global") continue;
            all[entry.table->name()] = query("SELECT * FROM " + entry.table->name() + " ORDER BY rowid");
        }
        return all;
    }
    // Makes every write to a table fail, so that a test sees whether one was tried.
    void forbidWrites(const std::string& table) const {
        for (const char* event : {"UPDATE", "INSERT"}) {
            exec(std::string("CREATE TRIGGER no") + event + table + " BEFORE " + event + " ON " + table +
                 " BEGIN SELECT RAISE(ABORT, 'no writes'); END");
        }
    }
};

// A headend as devkit/make-headend lays it out from these arguments.
struct Headend {
    const char* name;
    std::vector<std::string> args;
};
inline void PrintTo(const Headend& headend, std::ostream* out) { *out << headend.name; }
inline std::string headendName(const testing::TestParamInfo<Headend>& info) { return info.param.name; }

// The modules section reads and writes tables whose layout belongs to the
// headend's other programs, so its tests run on every layout the dev kit has.
class ModulesTest : public SetConfigTest, public testing::WithParamInterface<Headend> {
protected:
    ModulesTest() : SetConfigTest(GetParam().args) {}
};

}  // namespace rctest
