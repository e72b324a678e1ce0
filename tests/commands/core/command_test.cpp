// The command envelope and the run protocol, with a command whose execute()
// the test scripts.
#include "commands/core/command.h"
#include "commands/core/result_codes.h"
#include "common/errors.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <functional>

namespace dorel_remote_control {
namespace {

// execute() does whatever the test says, with the run number (1-based).
class ScriptedCommand : public Command {
public:
    using Script = std::function<void(ScriptedCommand&, int run)>;
    ScriptedCommand(const std::string& text, Script script = {})
        : Command(text, "resetModules"), script_(std::move(script)) {}

    int runs = 0;
    using Command::addError;
    using Command::parameter;
    using Command::startResult;

protected:
    void execute() override {
        ++runs;
        if (script_) script_(*this, runs);
    }

private:
    Script script_;
};

const char* const kEnvelope =
    "<command><id>42</id><data><resetModules><module>3</module><module>4</module></resetModules></data></command>";

class CommandTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    void TearDown() override { settings() = Settings(); }
    rctest::LogCapture log;
    rctest::FakeClock clock;
};

TEST_F(CommandTest, EnvelopeGivesIdNameAndParameters) {
    ScriptedCommand command(kEnvelope);
    EXPECT_EQ(42, command.commandId());
    EXPECT_EQ("resetModules", command.name());
    EXPECT_EQ(0, command.id());
    EXPECT_EQ(kStatusReceived, command.status());
    EXPECT_EQ("resetModules", nodeName(command.commandElement()));
    EXPECT_EQ("3", nodeText(command.parameter("module")));
    EXPECT_EQ(nullptr, command.parameter("missing"));
    EXPECT_NE(std::string::npos, command.result().print().find("<commandId>42</commandId>"));
    EXPECT_TRUE(log.contains("New command id: 42")) << log.dump();
}

TEST_F(CommandTest, EnvelopeVariantsThatAreAccepted) {
    struct Case {
        const char* text;
        int commandId;
        const char* element;
    };
    const Case cases[] = {
        // Non-numeric ids count as 0; the command is still taken.
        {"<command><id>abc</id><data><x/></data></command>", 0, "x"},
        {"<command><id/><data><x/></data></command>", 0, "x"},
        {"<command><id>17abc</id><data><x/></data></command>", 17, "x"},
        {"<command><id>-5</id><data><x/></data></command>", -5, "x"},
        // The root is whatever comes first, and text before the element is skipped.
        {"<order><id>9</id><data>\n  some text <y/><z/></data></order>", 9, "y"},
        // The store's own prefix, missing "=" and all.
        {"<?xml version\"1.0\" encoding=\"utf-8\"?><command><id>7</id><data><x/></data></command>", 7, "x"},
    };
    for (const Case& c : cases) {
        ScriptedCommand command(c.text);
        EXPECT_EQ(c.commandId, command.commandId()) << c.text;
        EXPECT_EQ(c.element, nodeName(command.commandElement())) << c.text;
    }
}

TEST_F(CommandTest, IncompleteEnvelopesAreRejectedWithTheirReason) {
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"<command><data><x/></data></command>", "'command' has no 'id'"},
        {"<command><ID>1</ID><data><x/></data></command>", "'command' has no 'id'"},
        {"", "'command' has no 'id'"},
        {"<command><id>1</id></command>", "'command' has no 'data'"},
        {"<command><id>1</id><x><data><y/></data></x></command>", "'command' has no 'data'"},
        {"<command><id>1</id><data/></command>", "'data' has no command"},
        {"<command><id>1</id><data>resetModules</data></command>", "'data' has no command"},
    };
    for (const Case& c : cases) {
        try {
            ScriptedCommand command(c.text);
            ADD_FAILURE() << "accepted: " << c.text;
        } catch (const CommandParsingError& e) {
            EXPECT_STREQ(c.message, e.what()) << c.text;
        }
    }
    for (const char* malformed : {"<command><id>1</id><data><x></data></command>", "<command", "id=1"}) {
        EXPECT_THROW(ScriptedCommand command(malformed), rapidxml::parse_error) << malformed;
    }
}

TEST_F(CommandTest, DatabaseErrorIsRetriedTenTimesThenReported) {
    ScriptedCommand command(kEnvelope, [](ScriptedCommand& c, int) {
        c.startResult();
        c.addError(kCouldNotAccessDatabase);
    });
    command.run();

    EXPECT_EQ(11, command.runs);
    EXPECT_EQ(std::vector<unsigned>(10, 1), clock.sleeps());
    EXPECT_EQ(kStatusFinished, command.status());
    EXPECT_TRUE(command.result().hasError(kCouldNotAccessDatabase));
    EXPECT_FALSE(command.result().succeeded());
    for (int retry = 1; retry <= 10; ++retry) {
        EXPECT_EQ(1, log.count("Command run resulted in a DB error. Retrying (" + std::to_string(retry) + ")"));
    }
    EXPECT_EQ(10, log.count("Command run resulted in a DB error."));
    EXPECT_FALSE(log.contains("Retrying (11)"));
    EXPECT_EQ(11, log.count("Running resetModules command"));
    // Each retry starts from a clean result: one result element, not eleven.
    const std::string text = command.result().print();
    EXPECT_EQ(text.find("<resetModulesResult/>"), text.rfind("<resetModulesResult/>"));
    EXPECT_NE(std::string::npos, text.find("<commandId>42</commandId>"));
}

TEST_F(CommandTest, RetryStopsWhenTheDatabaseComesBack) {
    ScriptedCommand command(kEnvelope, [](ScriptedCommand& c, int run) {
        XmlNode* out = c.startResult();
        appendElement(c.result().doc(), out, "attempt", std::to_string(run));
        if (run < 3) {
            c.addError(kCouldNotAccessDatabase);
            c.addError(kCouldNotResetModule);
        }
    });
    command.run();

    EXPECT_EQ(3, command.runs);
    EXPECT_EQ(std::vector<unsigned>(2, 1), clock.sleeps());
    EXPECT_EQ(kStatusFinished, command.status());
    EXPECT_FALSE(command.result().hasErrors());  // nothing left over from the failed runs
    EXPECT_TRUE(command.result().succeeded());
    const std::string text = command.result().print();
    EXPECT_NE(std::string::npos, text.find("<resetModulesResult>\n\t\t\t<attempt>3</attempt>\n\t\t</resetModulesResult>"))
        << text;
    EXPECT_EQ(std::string::npos, text.find("<attempt>1</attempt>"));
}

TEST_F(CommandTest, UnopenableDatabaseCountsAsDatabaseError) {
    ScriptedCommand command(kEnvelope, [](ScriptedCommand&, int run) {
        if (run == 1) throw CouldNotOpenDBError("/dorel/DB/config_global.sqlite");
    });
    command.run();
    EXPECT_EQ(2, command.runs);
    EXPECT_EQ(kStatusFinished, command.status());
    EXPECT_TRUE(command.result().succeeded());
    EXPECT_EQ(1, log.count("Retrying (1)"));
}

TEST_F(CommandTest, CompletionMarkDefaultsFromTheErrors) {
    struct Case {
        const char* what;
        ScriptedCommand::Script script;
        bool succeeded;
    };
    const Case cases[] = {
        {"no errors", [](ScriptedCommand&, int) {}, true},
        {"an error", [](ScriptedCommand& c, int) { c.addError(kInvalidValue); }, false},
        {"an error but marked done", [](ScriptedCommand& c, int) {
             c.addError(kInvalidValue);
             c.result().setCompletionMark(true);
         }, true},
        {"no error but marked failed", [](ScriptedCommand& c, int) { c.result().setCompletionMark(false); }, false},
    };
    for (const Case& c : cases) {
        ScriptedCommand command(kEnvelope, c.script);
        command.run();
        EXPECT_EQ(c.succeeded, command.result().succeeded()) << c.what;
        EXPECT_NE(std::string::npos, command.result().print().find(c.succeeded ? "<result>0</result>" : "<result>1</result>"))
            << c.what;
        EXPECT_TRUE(clock.sleeps().empty()) << c.what;
    }
}

}  // namespace
}  // namespace dorel_remote_control
