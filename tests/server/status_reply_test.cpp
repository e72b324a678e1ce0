// Taking the commands of the server's statusReply: all stored with status 0
// in one transaction and handed over in order as their rows; bad ones logged
// and skipped.
#include "server/status_reply.h"
#include "support/command_test.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

using rctest::envelope;
using rctest::Rows;

class StatusReplyIntake : public rctest::CommandTest {
protected:
    std::vector<QueuedCommand> take(const std::string& body) { return takeReplyCommands(env(), body.c_str()); }
    // (commandId, status) of every stored row, in row order.
    Rows stored() const { return query("SELECT commandId, status FROM RCCommand ORDER BY id", kStoreDb); }
};

}  // namespace

TEST_F(StatusReplyIntake, GoodCommandsAreStoredAndHandedOverInOrderAndBadOnesSkipped) {
    // The note before the first command is not looked at; the one after it is
    // handed to the factory, which rejects it.
    const std::string body =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<statusReply><result>0</result><commands>"
        "<note>ignore me</note>" +
        envelope(11, "changePassword", "<username>admin</username><password>s3cret</password>") +
        envelope(12, "bogusCommand", "<x>1</x>") + "<note>not a command</note>" +
        envelope(13, "getScheduledCommands") + "</commands></statusReply>";
    const auto taken = take(body);
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_TRUE(taken[0].envelope.empty() && taken[1].envelope.empty()) << "stored commands go over as rows only";
    EXPECT_EQ(query("SELECT id, commandId, status FROM RCCommand ORDER BY id", kStoreDb),
              (Rows{{std::to_string(taken[0].rowId), "11", "0"}, {std::to_string(taken[1].rowId), "13", "0"}}));
    EXPECT_TRUE(env().contains("Invalid command: bogusCommand")) << env().dump();
    EXPECT_EQ(env().count("Command parsing error: "), 1) << env().dump();
}

TEST_F(StatusReplyIntake, CommandsAreFoundWhereTheParserWouldFindThemAndABrokenReplyGivesNone) {
    const std::string a = envelope(31, "getScheduledCommands");
    const std::string b = envelope(32, "getScheduledCommands", "<note a='</commands></statusReply>'/>");
    const struct {
        std::string body;
        Rows rows;
    } cases[] = {
        {"\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- x --><statusReply><commands>" + a + b +
             "</commands><commands>" + a + "</commands></statusReply>\n",
         {{"31", "0"}, {"32", "0"}}},
        {"<other><statusReply><commands>" + a + "</commands></statusReply></other><statusReply><x><commands>" + a +
             "</commands></x><commands><![CDATA[<command>]]>" + b + "</commands></statusReply>",
         {{"32", "0"}}},
        {"<other><commands>" + a + "</commands></other>", {}},
        {"<statusReply><commands>" + a + b + "</commands></statusReply>junk", {}},
        {"<statusReply><commands>" + a + "<command <id>", {}},
    };
    for (const auto& c : cases) {
        root_.exec(kStoreDb, "DELETE FROM RCCommand");
        take(c.body);
        EXPECT_EQ(stored(), c.rows) << c.body;
    }
}

TEST_F(StatusReplyIntake, CommandsTheStoreRefusesAreHandedOverAsTextAndStillRun) {
    root_.exec(kStoreDb, "DROP TABLE RCCommand");
    const std::string body = "<statusReply><commands>" + envelope(21, "changePassword") +
                             envelope(22, "getScheduledCommands") + "</commands></statusReply>";
    const auto taken = take(body);
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0].rowId, 0);
    EXPECT_NE(taken[0].envelope.find("<id>21</id>"), std::string::npos) << taken[0].envelope;
    EXPECT_NE(taken[1].envelope.find("<getScheduledCommands"), std::string::npos) << taken[1].envelope;
}

TEST_F(StatusReplyIntake, RepliesWithoutCommandsGiveAtMostOneLine) {
    // Far deeper than the parser's stack would take.
    std::string deep = "<statusReply><commands>" + envelope(1, "changePassword");
    for (int i = 0; i < 100000; ++i) deep += "<command>";
    const struct {
        const char* body;
        const char* line;  // the start of the one line logged, null for none
        int priority;
    } cases[] = {
        {"Internal Server Error", "XML parsing error: ", 4},
        {nullptr, "XML parsing error: no 'statusReply' node.", 4},
        {"<statusReply><result>0</result></statusReply>", "XML parsing error: no 'commands' node.", 6},
        {"<statusReply><commands>\n  </commands></statusReply>", nullptr, 0},
        {deep.c_str(), "XML parsing error: document nested too deep", 4},
    };
    for (const auto& c : cases) {
        env().clearLog();
        EXPECT_TRUE(takeReplyCommands(env(), c.body).empty());
        ASSERT_EQ(env().lines().size(), c.line ? 1u : 0u) << env().dump();
        if (!c.line) continue;
        EXPECT_EQ(env().lines()[0].text.rfind(c.line, 0), 0u) << env().dump();
        EXPECT_EQ(env().lines()[0].priority, c.priority) << c.line;
    }
    EXPECT_TRUE(stored().empty());
}
