// Running setConfiguration documents against a simulated headend and reading
// back the tables, the keys and the stand-in programs' calls.
#pragma once

#include "commands/query/command_runner.h"
#include "server/settings.h"

#include <string>
#include <vector>

namespace rctest {

class SetConfigTest : public StoreTest {
protected:
    static constexpr const char* kConfigDb = "/dorel/DB/config_global.sqlite";

    // Runs <setConfiguration><configuration>SECTIONS</configuration></setConfiguration>.
    std::shared_ptr<dorel_remote_control::Command> apply(const std::string& sections) {
        return run(envelope(5, "setConfiguration", "<configuration>" + sections + "</configuration>"));
    }
    Errors applyErrors(const std::string& sections) { return apply(sections)->result().errors(); }

    // A whole table in its rowid order, every column.
    Rows table(const std::string& name) const { return root_.query(kConfigDb, "SELECT * FROM " + name + " ORDER BY rowid"); }
    // Rows of a query on config_global.
    Rows query(const std::string& sql) const { return root_.query(kConfigDb, sql); }

    // The controller model the command sees.
    void useModel(const std::string& model) {
        root_.writeFile("/devkit/identity/MODELO", model + "\n");
        dorel_remote_control::settings() = dorel_remote_control::Settings();
        dorel_remote_control::settings().load();
    }
    // Stand-in calls whose command line starts with the given fixed path.
    std::vector<std::string> callsOf(const std::string& fixedPath) const {
        std::vector<std::string> calls;
        for (const std::string& line : root_.stubCalls()) {
            if (line.compare(0, fixedPath.size(), fixedPath) == 0) calls.push_back(line);
        }
        return calls;
    }
    void failStub(const std::string& name, int status) const {
        root_.writeFile("/devkit/exit/" + name, std::to_string(status) + "\n");
    }
};

}  // namespace rctest
