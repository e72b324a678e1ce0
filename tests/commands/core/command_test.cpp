// The run protocol, with a command whose execute() the test scripts, and the
// result document it fills. (The envelope's refusals are the dispatch test's
// damaged rows.)
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

// The commandResult document, what the server reads back for every command:
// its errors, and an output written as text, which must print exactly as the
// same output built as a tree, after the errors and the tree's own children of
// data; a retried command starts again without it.
TEST(ResultDocument, ErrorsGoOutInCodeOrderOncePerPrintAndAWrittenOutputAsItsTreeUntilCleared) {
    rctest::TestEnv env_("");
    ResultDocument result;
    result.addError(702);
    result.addError(103, "bad 'port' value");
    result.addError(702, "checksum of fw.bin");  // replaces the first 702
    result.addError(100);
    const std::string text = result.print(env_);
    EXPECT_NE(std::string::npos,
              text.find("\t<errors>\n"
                        "\t\t<error>\n\t\t\t<id>100</id>\n\t\t\t<text>Unknown Error</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>103</id>\n\t\t\t<text>bad &apos;port&apos; value</text>\n\t\t</error>\n"
                        "\t\t<error>\n\t\t\t<id>702</id>\n\t\t\t<text>checksum of fw.bin</text>\n\t\t</error>\n"
                        "\t</errors>\n"))
        << text;
    EXPECT_EQ(text, result.print(env_)) << "printing again does not add the errors twice";
    EXPECT_EQ(6, env_.count("Command error: ")) << env_.dump();
    EXPECT_EQ(2, env_.count("Command error: 103 bad 'port' value"));

    ResultDocument written, built;
    for (ResultDocument* r : {&written, &built}) {
        r->addError(102, "database <locked>");
        appendElement(r->doc(), r->data(), "first", "tree child");
    }
    XmlWriter out = ResultDocument::dataWriter();
    out.open("bigResult");
    out.element("name", "a <b> & 'c'");
    out.element("empty");
    written.setDataText(out.finish());
    XmlNode* output = appendElement(built.doc(), built.data(), "bigResult");
    appendElement(built.doc(), output, "name", "a <b> & 'c'");
    appendElement(built.doc(), output, "empty");
    EXPECT_EQ(built.print(env_), written.print(env_));
    EXPECT_EQ(built.print(env_), written.print(env_)) << "printing again gives the same text";
    for (const std::string& detail : {std::string("rolled back"), std::string(5000, 'x'), std::string()}) {
        for (ResultDocument* r : {&written, &built}) r->addError(904, detail);
        EXPECT_EQ(built.print(env_), written.print(env_)) << "what surrounds the output changed after it printed";
    }
    written.clear();
    EXPECT_NE(std::string::npos, written.print(env_).find("\t<data/>\n"));
}

}  // namespace
}  // namespace dorel_remote_control
