// setConfiguration documents run against a simulated headend; the tests read
// back the rows of config_global and the stand-in programs' calls.
#pragma once

#include "support/command_test.h"

#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

namespace rctest {

using namespace dorel_remote_control;  // the agent's result codes, by name

// A failed section's two entries: the handler's own, then 202.
inline Errors failed(int code, const std::string& detail) {
    return {{code, detail}, {kCouldNotSetConfiguration, "Could not set configuration"}};
}
inline Errors refused(const std::string& detail) { return failed(kInvalidCommand, detail); }
inline Errors invalid(const std::string& detail) { return failed(kInvalidValue, detail); }
inline Errors dbError(const std::string& detail) { return failed(kCouldNotAccessDatabase, detail); }

// The dev kit's MAC of module m (1 to 9).
inline std::string moduleMac(int m) { return "00:1A:2B:00:00:0" + std::to_string(m); }
inline std::string moduleElement(int m, const std::string& children = "") {
    return "<module><mac>" + moduleMac(m) + "</mac>" + children + "</module>";
}
// A "modules" section naming the dev kit's modules 1..count, module m with children.at(m) when given.
inline std::string modulesSection(int count, const std::map<int, std::string>& children = {}) {
    std::string modules;
    for (int m = 1; m <= count; ++m) modules += moduleElement(m, children.count(m) ? children.at(m) : "");
    return "<modules>" + modules + "</modules>";
}

// One row of values separated by blanks: row("11000 1250 0").
inline Rows row(const std::string& values) {
    std::istringstream in(values);
    return {std::vector<std::string>(std::istream_iterator<std::string>(in), {})};
}

class SetConfigTest : public CommandTest {
protected:
    // The stand-ins' calls from here on are the follow-up programs' (loading the settings ran the identity's).
    explicit SetConfigTest(const std::vector<std::string>& headendArgs = {"--no-certs"}) : CommandTest(headendArgs) {
        root_.writeFile("/devkit/calls.log", "");
    }

    // The errors of a document; whatever they are, the completion mark agrees with them.
    Errors applyErrors(const std::string& sections) {
        auto command = run("setConfiguration", "<configuration>" + sections + "</configuration>");
        EXPECT_EQ(command->result().errors().empty(), command->result().succeeded());
        return command->result().errors();
    }
    Errors applyModules(const std::map<int, std::string>& children) { return applyErrors(modulesSection(2, children)); }

    void exec(const std::string& sql) const { root_.exec(kConfigDb, sql); }
    std::string value(const std::string& sql) const { return query(sql).at(0).at(0); }
    // Every row of every table of config_global.
    std::map<std::string, Rows> configRows() const {
        std::map<std::string, Rows> all;
        for (const auto& table : query("SELECT name FROM sqlite_master WHERE type = 'table'")) {
            all[table[0]] = query("SELECT * FROM \"" + table[0] + "\" ORDER BY rowid");
        }
        return all;
    }
    // Makes every update of a table fail, so that a test sees whether one was tried.
    void forbidUpdates(const std::string& table) const {
        exec("CREATE TRIGGER no" + table + " BEFORE UPDATE ON " + table + " BEGIN SELECT RAISE(ABORT, 'no'); END");
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

    struct ModuleCase {
        std::string module1;   // module 1's children
        Errors expected;
        Rows rows = {};        // what the test's query reads afterwards (empty: not read)
    };
    void runCases(const std::vector<ModuleCase>& cases, const std::string& sql) {
        for (const ModuleCase& c : cases) {
            SCOPED_TRACE(c.module1);
            EXPECT_EQ(c.expected, applyModules({{1, c.module1}}));
            if (c.rows.empty()) continue;
            EXPECT_EQ(c.rows, query(sql));
        }
    }
};

}  // namespace rctest
