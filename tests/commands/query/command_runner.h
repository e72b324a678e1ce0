// Running one command the way the agent does (factory, then run()) inside a
// simulated headend, and reading back what it left in the command store.
#pragma once

#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace rctest {

using Errors = std::map<int, std::string>;
using Rows = std::vector<std::vector<std::string>>;

// "<command><id>ID</id><data><NAME>PARAMS</NAME></data></command>"
inline std::string envelope(int id, const std::string& name, const std::string& params = "") {
    return "<command><id>" + std::to_string(id) + "</id><data><" + name + ">" + params + "</" + name +
           "></data></command>";
}

class StoreTest : public ::testing::Test {
protected:
    std::shared_ptr<dorel_remote_control::Command> run(const std::string& envelopeText) {
        auto command = dorel_remote_control::createCommand(envelopeText);
        command->run();
        return command;
    }
    Errors errorsOf(const std::string& envelopeText) { return run(envelopeText)->result().errors(); }

    // Rows of RCCommand as (commandId, status, nextTime, schedule, command),
    // without the finished rows a scheduling command leaves of itself.
    Rows storedRows() const {
        return root_.query(kStore, "SELECT commandId, status, nextTime, schedule, command FROM RCCommand "
                                   "WHERE status <> '2' ORDER BY id");
    }
    void insertRow(int commandId, int status, const std::string& commandText) const {
        root_.exec(kStore, "INSERT INTO RCCommand (commandId, status, nextTime, schedule, command, result) VALUES ('" +
                               std::to_string(commandId) + "', '" + std::to_string(status) +
                               "', '2000000000', '2031-05-06T07:08:09', '" + commandText + "', '')");
    }

    static constexpr const char* kStore = "/dorel/DB/remote_control.sqlite";
    HeadendRoot root_{{"--no-certs"}};
    FakeClock clock_;
};

}  // namespace rctest
