// Taking the commands of the server's statusReply: each one stored with
// status 0 and handed over in order; bad ones logged and skipped.
#include "commands/core/command.h"
#include "server/status_reply.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace dorel_remote_control;

namespace {

const char kStoreDb[] = "/dorel/DB/remote_control.sqlite";

std::string command(int id, const std::string& inside) {
    return "<command><id>" + std::to_string(id) + "</id><data>" + inside + "</data></command>";
}

std::string reply(const std::string& commands) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<statusReply><result>0</result>" + commands +
           "</statusReply>";
}

const std::string kChangePassword =
    "<changePassword><username>admin</username><password>s3cret</password></changePassword>";
const std::string kGetScheduled = "<getScheduledCommands/>";

class StatusReplyIntake : public ::testing::Test {
protected:
    // (commandId, status) of every stored row, in row order.
    std::vector<std::vector<std::string>> stored() const {
        return root_.query(kStoreDb, "SELECT commandId, status FROM RCCommand ORDER BY id");
    }
    int linesReading(const std::string& text) const {
        int n = 0;
        for (const auto& line : log_.lines()) n += line.text == text;
        return n;
    }
    int linesAt(int priority) const {
        int n = 0;
        for (const auto& line : log_.lines()) n += line.priority == priority;
        return n;
    }

    rctest::HeadendRoot root_;
    rctest::LogCapture log_;
};

}  // namespace

TEST_F(StatusReplyIntake, CommandsAreStoredAndHandedOverInDocumentOrder) {
    const std::string body = reply("<commands>" + command(11, kChangePassword) +
                                   command(12, "<bogusCommand><x>1</x></bogusCommand>") +
                                   command(13, kGetScheduled) + "</commands>");
    const auto taken = takeReplyCommands(body.c_str());

    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0]->commandId(), 11);
    EXPECT_EQ(taken[0]->name(), "changePassword");
    EXPECT_EQ(taken[1]->commandId(), 13);
    EXPECT_EQ(taken[1]->name(), "getScheduledCommands");
    for (const auto& command : taken) {
        EXPECT_EQ(command->status(), kStatusReceived);
        EXPECT_NE(command->id(), 0) << "stored commands know their row";
    }
    EXPECT_EQ(stored(), (std::vector<std::vector<std::string>>{{"11", "0"}, {"13", "0"}}));

    EXPECT_EQ(linesReading("New command"), 3) << log_.dump();
    EXPECT_TRUE(log_.contains("Invalid command: bogusCommand")) << log_.dump();
    EXPECT_EQ(linesAt(3), 1) << log_.dump();
}

TEST_F(StatusReplyIntake, AnElementAfterTheFirstCommandIsTakenWhateverItsName) {
    const std::string body =
        reply("<commands><note>ignore me</note>" + command(21, kGetScheduled) +
              "<note>not a command</note>stray text" + command(22, kGetScheduled) + "</commands>");
    const auto taken = takeReplyCommands(body.c_str());
    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0]->commandId(), 21);
    EXPECT_EQ(taken[1]->commandId(), 22);
    // The note before the first command is not looked at; the one after it is
    // handed to the factory, which rejects it.
    EXPECT_EQ(log_.count("Command parsing error: "), 1) << log_.dump();
    EXPECT_EQ(stored().size(), 2u);
}

TEST_F(StatusReplyIntake, ABodyThatIsNotXmlGivesOneParseErrorLine) {
    const char* const bodies[] = {"Internal Server Error", "<statusReply><commands>", "<statusReply a=b/>"};
    for (const char* body : bodies) {
        log_.clear();
        EXPECT_TRUE(takeReplyCommands(body).empty());
        ASSERT_EQ(log_.lines().size(), 1u) << log_.dump();
        EXPECT_EQ(log_.lines()[0].priority, 4);
        EXPECT_EQ(log_.lines()[0].text.rfind("XML parsing error: ", 0), 0u) << log_.dump();
        EXPECT_EQ(log_.lines()[0].text.back(), '\n');
    }
    EXPECT_TRUE(stored().empty());
}

TEST_F(StatusReplyIntake, MissingStatusReplyOrCommands) {
    // An empty body is a well-formed document without any element.
    const char* const bodies[] = {"<other><commands/></other>", "", nullptr};
    for (const char* body : bodies) {
        log_.clear();
        EXPECT_TRUE(takeReplyCommands(body).empty());
        ASSERT_EQ(log_.lines().size(), 1u) << log_.dump();
        EXPECT_EQ(log_.lines()[0].text, "XML parsing error: no 'statusReply' node.");
        EXPECT_EQ(log_.lines()[0].priority, 4);
    }

    log_.clear();
    EXPECT_TRUE(takeReplyCommands(reply("").c_str()).empty());
    ASSERT_EQ(log_.lines().size(), 1u) << log_.dump();
    EXPECT_EQ(log_.lines()[0].text, "XML parsing error: no 'commands' node.");
    EXPECT_EQ(log_.lines()[0].priority, 6);
}

TEST_F(StatusReplyIntake, EmptyCommandsIsQuiet) {
    EXPECT_TRUE(takeReplyCommands(reply("<commands/>").c_str()).empty());
    EXPECT_TRUE(takeReplyCommands(reply("<commands>\n  </commands>").c_str()).empty());
    EXPECT_TRUE(takeReplyCommands(reply("<commands><other/></commands>").c_str()).empty());
    EXPECT_TRUE(log_.lines().empty()) << log_.dump();
    EXPECT_TRUE(stored().empty());
}
