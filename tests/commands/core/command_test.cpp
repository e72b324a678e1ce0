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

// execute() does whatever the test says with the result, given the run number (1-based).
class ScriptedCommand : public Command {
public:
    using Script = std::function<void(ResultDocument&, int run)>;
    explicit ScriptedCommand(const std::string& text, Script script = [](ResultDocument&, int) {})
        : Command(text, "resetModules"), script_(std::move(script)) {}
    int runs = 0;

private:
    void execute() override {
        appendElement(result().doc(), startResult(), "attempt", std::to_string(++runs));
        script_(result(), runs);
    }
    Script script_;
};

class CommandTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
};

TEST_F(CommandTest, EnvelopeGivesIdAndParametersOrItsReasonForRefusal) {
    ScriptedCommand command("<command><id>42</id><data><resetModules><m>3</m></resetModules></data></command>");
    EXPECT_EQ("3", nodeText(childElement(command.commandElement(), "m")));
    EXPECT_NE(std::string::npos, command.result().print().find("<commandId>42</commandId>"));
    EXPECT_EQ(0, ScriptedCommand("<command><id>abc</id><data><x/></data></command>").commandId());
    for (const auto& [text, message] : {
             std::pair{"<command><ID>1</ID><data><x/></data></command>", "'command' has no 'id'"},
             {"<command><id>1</id></command>", "'command' has no 'data'"},
             {"<command><id>1</id><data>resetModules</data></command>", "'data' has no command"}}) {
        try {
            ScriptedCommand refused(text);
            ADD_FAILURE() << "accepted: " << text;
        } catch (const CommandParsingError& e) {
            EXPECT_STREQ(message, e.what()) << text;
        }
    }
    EXPECT_THROW(ScriptedCommand("<command><id>1</id><data><x></data></command>"), rapidxml::parse_error);
}

TEST_F(CommandTest, DatabaseErrorIsRetriedTenTimesFromACleanResult) {
    for (int failingRuns : {2, 1000}) {
        SCOPED_TRACE(failingRuns);
        rctest::LogCapture log;
        rctest::FakeClock clock;
        ScriptedCommand command("<command><id>4</id><data><resetModules/></data></command>",
                                [&](ResultDocument& result, int run) {
                                    if (run > failingRuns) return;
                                    result.addError(kCouldNotAccessDatabase);
                                    result.addError(kCouldNotResetModule);
                                });
        command.run();

        const int runs = std::min(failingRuns + 1, 11);
        EXPECT_EQ(runs, command.runs);
        EXPECT_EQ(std::vector<unsigned>(runs - 1, 1), clock.sleeps());
        EXPECT_EQ(runs - 1, log.count("Command run resulted in a DB error. Retrying ("));
        EXPECT_EQ(kStatusFinished, command.status());
        EXPECT_EQ(runs == 11 ? 2u : 0u, command.result().errors().size());
        const std::string text = command.result().print();
        EXPECT_EQ(text.find("<attempt>"), text.rfind("<attempt>")) << "one output, not one per run";
        EXPECT_NE(std::string::npos, text.find("<attempt>" + std::to_string(runs) + "</attempt>")) << text;
    }
}

TEST_F(CommandTest, CompletionMarkDefaultsFromTheErrors) {
    const std::pair<ScriptedCommand::Script, const char*> cases[] = {
        {[](ResultDocument&, int) {}, "<result>0</result>"},
        {[](ResultDocument& r, int) { r.addError(kInvalidValue); }, "<result>1</result>"},
        {[](ResultDocument& r, int) { r.addError(kInvalidValue); r.setCompletionMark(true); }, "<result>0</result>"},
        {[](ResultDocument& r, int) { r.setCompletionMark(false); }, "<result>1</result>"},
    };
    for (const auto& c : cases) {
        ScriptedCommand command("<command><id>4</id><data><resetModules/></data></command>", c.first);
        command.run();
        EXPECT_NE(std::string::npos, command.result().print().find(c.second)) << "case " << &c - cases;
    }
}

}  // namespace
}  // namespace dorel_remote_control
