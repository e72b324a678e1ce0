// The run protocol, with a command whose execute() the test scripts. (The
// envelope's refusals are the dispatch test's damaged rows.)
#include "commands/core/command.h"
#include "commands/core/result_codes.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

#include <functional>

namespace dorel_remote_control {
namespace {

// execute() does whatever the test says with the result, given the run number (1-based).
class ScriptedCommand : public Command {
public:
    using Script = std::function<void(ResultDocument&, int run)>;
    ScriptedCommand(Env& env, const std::string& text, Script script = [](ResultDocument&, int) {})
        : Command(env, text, "resetModules"), script_(std::move(script)) {}
    int runs = 0;

private:
    void execute() override {
        startResult();
        script_(result(), ++runs);
    }
    Script script_;
};

// run(): a database error (102) makes it run execute() again from a clean
// result, up to ten times one second apart; the completion mark follows the
// errors unless execute() set it.
TEST(CommandRun, DatabaseErrorsAreRetriedTenTimesAndTheMarkFollowsTheErrorsUnlessSet) {
    const auto failing = [](int failingRuns) {
        return [failingRuns](ResultDocument& result, int run) {
            if (run > failingRuns) return;
            result.addError(kCouldNotAccessDatabase);
            result.addError(kCouldNotResetModule);
        };
    };
    const struct {
        const char* what;
        ScriptedCommand::Script script;
        int runs;
        size_t errors;
        const char* mark;
    } cases[] = {
        {"database back at the third run", failing(2), 3, 0, "<result>0</result>"},
        {"database never back", failing(1000), 11, 2, "<result>1</result>"},
        {"success despite an error",
         [](ResultDocument& r, int) {
             r.addError(kInvalidValue);
             r.setCompletionMark(true);
         },
         1, 1, "<result>0</result>"},
        {"failure without an error", [](ResultDocument& r, int) { r.setCompletionMark(false); }, 1, 0,
         "<result>1</result>"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        rctest::TestEnv env("");
        ScriptedCommand command(env, "<command><id>4</id><data><resetModules/></data></command>", c.script);
        command.run();
        EXPECT_EQ(c.runs, command.runs);
        EXPECT_EQ(std::vector<unsigned>(c.runs - 1, 1), env.sleeps());
        EXPECT_EQ(c.errors, command.result().errors().size());
        const std::string text = command.result().print(env);
        EXPECT_NE(std::string::npos, text.find(c.mark)) << text;
        EXPECT_EQ(text.find("<resetModulesResult/>"), text.rfind("<resetModulesResult")) << "one output, not one a run";
    }
}

}  // namespace
}  // namespace dorel_remote_control
