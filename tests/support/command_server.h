// A simulated headend with certificates and the dev kit's test server, for
// commands that talk to the server: the agent's settings point at the server
// and commands are made and run the way the agent makes and runs them.
#pragma once

#include "commands/core/command.h"
#include "commands/core/dispatch.h"
#include "commands/core/result_codes.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace rctest {

class CommandServerTest : public ::testing::Test {
protected:
    using Errors = std::map<int, std::string>;

    // Starts the server with an answer script and points the agent at it.
    void serve(const std::string& scriptJson = "{}") {
        server_.reset();
        server_ = std::make_unique<TestServer>(root_, scriptJson);
        server_->configureAgent();
        dorel_remote_control::settings() = dorel_remote_control::Settings();
        dorel_remote_control::settings().load();
    }
    TestServer& server() { return *server_; }

    // The HTTPS client echoes every reply to standard output: kept out of
    // the test's own.
    std::shared_ptr<dorel_remote_control::Command> run(const std::string& envelopeText) {
        auto command = dorel_remote_control::createCommand(envelopeText);
        testing::internal::CaptureStdout();
        command->run();
        testing::internal::GetCapturedStdout();
        return command;
    }
    // The entry of an error recorded without a text of its own.
    static Errors only(int code) { return {{code, dorel_remote_control::resultCodeText(code)}}; }
    // "<command><id>ID</id><data><NAME>PARAMS</NAME></data></command>", run.
    Errors errorsOf(const std::string& name, const std::string& params = "") {
        return run("<command><id>7</id><data><" + name + ">" + params + "</" + name + "></data></command>")
            ->result()
            .errors();
    }

    HeadendRoot root_;
    FakeClock clock_;
    std::unique_ptr<TestServer> server_;
};

}  // namespace rctest
