// The one fixture that runs commands: a simulated headend (optionally with
// the dev kit's test server), the agent's settings loaded from it, and a
// command made by the factory and run the way the poll cycle runs it.
#pragma once

#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "commands/core/result_codes.h"
#include "server/settings.h"
#include "support/headend_root.h"
#include "support/test_server.h"

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

class CommandTest : public ::testing::Test {
protected:
    static constexpr const char* kConfigDb = "/dorel/DB/config_global.sqlite";
    static constexpr const char* kTempDb = "/tmp/temp_global.sqlite";
    static constexpr const char* kStoreDb = "/dorel/DB/remote_control.sqlite";

    explicit CommandTest(const std::vector<std::string>& headendArgs = {"--no-certs"}) : root_(headendArgs) {
        loadSettings();
    }

    TestEnv& env() { return root_.env(); }

    // The agent's settings as the headend holds them now (model, identity).
    void loadSettings() {
        dorel_remote_control::settings() = dorel_remote_control::Settings();
        dorel_remote_control::settings().load(env());
    }
    void useModel(const std::string& model) {
        root_.writeFile("/devkit/identity/MODELO", model + "\n");
        loadSettings();
    }

    // Starts the test server with an answer script and points the agent at it.
    void serve(const std::string& scriptJson = "{}") {
        server_.reset();
        server_ = std::make_unique<TestServer>(root_, scriptJson);
        server_->configureAgent();
        loadSettings();
    }
    TestServer& server() { return *server_; }

    // Made by the factory and run; what the command prints to standard output
    // (the HTTPS client echoes replies) is kept out of the test's own.
    std::shared_ptr<dorel_remote_control::Command> run(const std::string& envelopeText) {
        auto command = dorel_remote_control::createCommand(env(), envelopeText);
        testing::internal::CaptureStdout();
        command->run();
        testing::internal::GetCapturedStdout();
        // Whatever the outcome, the result names its command.
        TestEnv quiet("");
        EXPECT_NE(std::string::npos, command->result().print(quiet).find("<" + command->name() + "Result"));
        return command;
    }
    std::shared_ptr<dorel_remote_control::Command> run(const std::string& name, const std::string& params) {
        return run(envelope(7, name, params));
    }
    Errors errorsOf(const std::string& name, const std::string& params = "") {
        return run(name, params)->result().errors();
    }
    // The entry of an error recorded without a text of its own.
    static Errors only(int code) { return {{code, dorel_remote_control::resultCodeText(code)}}; }

    // Rows of a query on one of the root's databases.
    Rows query(const std::string& sql, const char* db = kConfigDb) const { return root_.query(db, sql); }
    // The stand-ins' calls whose command line starts with the fixed path.
    std::vector<std::string> callsOf(const std::string& fixedPath) const {
        std::vector<std::string> calls;
        for (const std::string& line : root_.stubCalls()) {
            if (line.compare(0, fixedPath.size(), fixedPath) == 0) calls.push_back(line);
        }
        return calls;
    }
    // Makes a stand-in program exit with status.
    void failStub(const std::string& name, int status) const {
        root_.writeFile("/devkit/exit/" + name, std::to_string(status) + "\n");
    }

    HeadendRoot root_;
    std::unique_ptr<TestServer> server_;
};

}  // namespace rctest
