// Taking the commands of the server's statusReply: all stored with status 0
// in one transaction and handed over in order as their rows; bad ones logged
// and skipped.
#include "commands/core/command.h"
#include "server/status_reply.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

std::string command(int id, const std::string& inside) {
    return "<command><id>" + std::to_string(id) + "</id><data>" + inside + "</data></command>";
}

class StatusReplyIntake : public ::testing::Test {
protected:
    // (commandId, status) of every stored row, in row order.
    std::vector<std::vector<std::string>> stored() const {
        return root_.query("/dorel/DB/remote_control.sqlite", "SELECT commandId, status FROM RCCommand ORDER BY id");
    }

    rctest::HeadendRoot root_;
};

}  // namespace

TEST_F(StatusReplyIntake, GoodCommandsAreStoredAndHandedOverInOrderAndBadOnesSkipped) {
    // The note before the first command is not looked at; the one after it is
    // handed to the factory, which rejects it.
    const std::string body =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<statusReply><result>0</result><commands>"
        "<note>ignore me</note>" +
        command(11, "<changePassword><username>admin</username><password>s3cret</password></changePassword>") +
        command(12, "<bogusCommand><x>1</x></bogusCommand>") + "<note>not a command</note>" +
        command(13, "<getScheduledCommands/>") + "</commands></statusReply>";
    const auto taken = takeReplyCommands(root_.env(), body.c_str());

    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(stored(), (std::vector<std::vector<std::string>>{{"11", "0"}, {"13", "0"}}));
    const auto ids = root_.query("/dorel/DB/remote_control.sqlite", "SELECT id FROM RCCommand ORDER BY id");
    for (size_t i = 0; i < taken.size(); ++i) {
        EXPECT_EQ(std::to_string(taken[i].rowId), ids[i][0]);
        EXPECT_TRUE(taken[i].envelope.empty()) << "a stored command is handed over as its row only";
    }
    EXPECT_TRUE(root_.env().contains("Invalid command: bogusCommand")) << root_.env().dump();
    EXPECT_EQ(root_.env().count("Command parsing error: "), 1) << root_.env().dump();
}

TEST_F(StatusReplyIntake, CommandsAreFoundWhereTheParserWouldFindThemAndABrokenReplyGivesNone) {
    const std::string a = command(31, "<getScheduledCommands/>");
    const std::string b = command(32, "<getScheduledCommands note='</commands></statusReply>'/>");
    const struct {
        std::string body;
        std::vector<std::vector<std::string>> rows;
    } cases[] = {
        {"\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<!-- x --><statusReply><commands>" + a + b +
             "</commands><commands>" + a + "</commands></statusReply>\n",
         {{"31", "0"}, {"32", "0"}}},
        {"<other><statusReply><commands>" + a + "</commands></statusReply></other><statusReply><x><commands>" + a +
             "</commands></x><commands><![CDATA[<command>]]>" + b + "</commands></statusReply>",
         {{"32", "0"}}},
        {"<statusReply><commands>" + a + b + "</commands></statusReply>junk", {}},
        {"<statusReply><commands>" + a + b + "</commands>", {}},
        {"<statusReply><commands>" + a + b + "</commands></statusReply></extra>", {}},
        {"<statusReply><commands>" + a + "<command <id>", {}},
    };
    for (const auto& c : cases) {
        root_.exec("/dorel/DB/remote_control.sqlite", "DELETE FROM RCCommand");
        takeReplyCommands(root_.env(), c.body.c_str());
        EXPECT_EQ(stored(), c.rows) << c.body;
    }
}

TEST_F(StatusReplyIntake, CommandsTheStoreRefusesAreHandedOverAsTextAndStillRun) {
    root_.exec("/dorel/DB/remote_control.sqlite", "DROP TABLE RCCommand");
    const std::string body = "<statusReply><commands>" + command(21, "<changePassword/>") +
                             command(22, "<getScheduledCommands/>") + "</commands></statusReply>";
    const auto taken = takeReplyCommands(root_.env(), body.c_str());
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0].rowId, 0);
    EXPECT_NE(taken[0].envelope.find("<id>21</id>"), std::string::npos) << taken[0].envelope;
    EXPECT_NE(taken[1].envelope.find("<getScheduledCommands"), std::string::npos) << taken[1].envelope;
}

TEST_F(StatusReplyIntake, RepliesWithoutCommandsGiveAtMostOneLine) {
    // Far deeper than the parser's stack would take.
    std::string deep = "<statusReply><commands>" + command(1, "<changePassword/>");
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
        root_.env().clearLog();
        EXPECT_TRUE(takeReplyCommands(root_.env(), c.body).empty());
        ASSERT_EQ(root_.env().lines().size(), c.line ? 1u : 0u) << root_.env().dump();
        if (!c.line) continue;
        EXPECT_EQ(root_.env().lines()[0].text.rfind(c.line, 0), 0u) << root_.env().dump();
        EXPECT_EQ(root_.env().lines()[0].priority, c.priority) << c.line;
    }
    EXPECT_TRUE(stored().empty());
}
