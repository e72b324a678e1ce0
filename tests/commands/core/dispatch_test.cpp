// The factory and the command steps of the poll cycle against a simulated
// headend and the dev kit's test server: what is run, what reaches the
// server, and what stays in the table when it does not.
#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "commands/maintenance/change_password.h"
#include "commands/query/get_scheduled_commands.h"
#include "common/errors.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

namespace dorel_remote_control {
namespace {

const char* const kDb = "/dorel/DB/remote_control.sqlite";

std::string envelope(int id, const std::string& element) {
    return "<command><id>" + std::to_string(id) + "</id><data>" + element + "</data></command>";
}

// ---------------------------------------------------------------- factory

class FactoryTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    void TearDown() override { settings() = Settings(); }
    rctest::LogCapture log;
};

TEST_F(FactoryTest, NamesAreMatchedIgnoringCase) {
    std::shared_ptr<Command> command = createCommand(envelope(5, "<CHANGEPASSWORD><username>admin</username></CHANGEPASSWORD>"));
    ASSERT_TRUE(std::dynamic_pointer_cast<CmdChangePassword>(command));
    EXPECT_EQ("changePassword", command->name());
    EXPECT_EQ(5, command->commandId());
    EXPECT_EQ("admin", nodeText(childElement(command->commandElement(), "username")));

    EXPECT_TRUE(std::dynamic_pointer_cast<CmdGetScheduledCommands>(createCommand(envelope(6, "<getscheduledCOMMANDS/>"))));
}

TEST_F(FactoryTest, UnknownAndIncompleteCommandsAreRejected) {
    try {
        createCommand(envelope(1, "<reboot/>"));
        ADD_FAILURE() << "reboot accepted";
    } catch (const InvalidCommandError& e) {
        EXPECT_STREQ("reboot", e.what());
    }
    struct Case {
        std::string text;
        const char* message;
    };
    const Case cases[] = {
        {"<command><id>1</id></command>", "'command' has no 'data'"},
        {"<command><id>1</id><data>changePassword</data></command>", "'data' has no command"},
        {"<command><data><changePassword/></data></command>", "'command' has no 'id'"},
    };
    for (const Case& c : cases) {
        try {
            createCommand(c.text);
            ADD_FAILURE() << "accepted: " << c.text;
        } catch (const CommandParsingError& e) {
            EXPECT_STREQ(c.message, e.what()) << c.text;
        }
    }
    EXPECT_THROW(createCommand("<command><id>1</id><data><changePassword></data>"), rapidxml::parse_error);
}

// ---------------------------------------------------------------- delivery

// Two commands in one reply; neither needs anything of the headend.
const char* const kReplyWithTwoCommands =
    "<statusReply><commands>"
    "<command><id>501</id><data><getScheduledCommands/></data></command>"
    "<command><id>502</id><data><changePassword/></data></command>"
    "</commands></statusReply>";

class DeliveryTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    void TearDown() override { settings() = Settings(); }

    void startServer(const std::string& scriptJson) {
        server = std::make_unique<rctest::TestServer>(root, scriptJson);
        server->configureAgent();
        settings().load();
    }
    std::vector<rctest::RecordedRequest> results() const {
        std::vector<rctest::RecordedRequest> out;
        for (const rctest::RecordedRequest& r : server->requests()) {
            if (r.path == "/commandResult") out.push_back(r);
        }
        return out;
    }
    // id, commandId, status
    std::vector<std::vector<std::string>> rows() const {
        return root.query(kDb, "SELECT id, commandId, status FROM RCCommand ORDER BY id");
    }
    void addRow(int id, int status, long nextTime, const std::string& command, const std::string& result = "") const {
        root.exec(kDb, "INSERT INTO RCCommand (id, commandId, status, nextTime, schedule, command, result) VALUES (" +
                           std::to_string(id) + ", '" + std::to_string(id * 10) + "', '" + std::to_string(status) + "', '" +
                           std::to_string(nextTime) + "', '', '" + command + "', '" + result + "')");
    }

    rctest::HeadendRoot root;
    rctest::LogCapture log;
    rctest::FakeClock clock;
    std::unique_ptr<rctest::TestServer> server;
    PollContext context;
};

TEST_F(DeliveryTest, DeliveredResultLeavesTheTableAndQueuesTheReplysCommands) {
    startServer(std::string("{\"routes\": {\"/commandResult\": [{\"code\": 200, \"body\": \"") + kReplyWithTwoCommands +
                "\"}]}}");
    std::shared_ptr<Command> command = createCommand(envelope(42, "<changePassword/>"));
    ASSERT_TRUE(save(*command));

    testing::internal::CaptureStdout();
    runAndReport(context, *command);
    const std::string echoed = testing::internal::GetCapturedStdout();

    const auto sent = results();
    ASSERT_EQ(1u, sent.size());
    EXPECT_EQ("POST", sent[0].method);
    EXPECT_EQ(0u, echoed.rfind(sent[0].body + "\n", 0)) << echoed;  // the transport echoes the reply after it
    EXPECT_NE(std::string::npos, sent[0].body.find("<commandId>42</commandId>")) << sent[0].body;
    EXPECT_NE(std::string::npos, sent[0].body.find("<changePasswordResult/>")) << sent[0].body;
    EXPECT_TRUE(log.contains("Sending commandResult"));

    EXPECT_EQ(kStatusDelivered, command->status());
    ASSERT_EQ(2u, context.queue.size());
    EXPECT_EQ(501, context.queue[0]->commandId());
    EXPECT_EQ(502, context.queue[1]->commandId());
    // The delivered command is gone; the two new ones wait in the table.
    const auto stored = rows();
    ASSERT_EQ(2u, stored.size());
    EXPECT_EQ("501", stored[0][1]);
    EXPECT_EQ("0", stored[0][2]);
    EXPECT_EQ("502", stored[1][1]);
}

TEST_F(DeliveryTest, UndeliveredResultIsSentAgainOnTheNextPass) {
    startServer("{\"routes\": {\"/commandResult\": [{\"code\": 500, \"body\": \"busy\"}]}}");
    std::shared_ptr<Command> command = createCommand(envelope(43, "<changePassword/>"));
    ASSERT_TRUE(save(*command));

    testing::internal::CaptureStdout();
    runAndReport(context, *command);
    auto stored = root.query(kDb, "SELECT status, result FROM RCCommand");
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("2", stored[0][0]);
    EXPECT_EQ(command->result().print(), stored[0][1]);

    reportFinished(context);   // the server's default answer now: delivered
    reportFinished(context);   // nothing left
    testing::internal::GetCapturedStdout();

    EXPECT_EQ(1, log.count("Error sending remote-control request to server: ")) << log.dump();
    EXPECT_EQ(2, log.count("Checking if there are finished commands"));
    EXPECT_EQ(1, log.count("Running changePassword command"));  // delivered, not run again
    const auto sent = results();
    ASSERT_EQ(2u, sent.size());
    EXPECT_EQ(500, sent[0].status);
    EXPECT_EQ(200, sent[1].status);
    EXPECT_EQ(sent[0].body, sent[1].body);
    EXPECT_TRUE(rows().empty());
    EXPECT_TRUE(context.queue.empty());
}

TEST_F(DeliveryTest, DamagedRowsAreLoggedOnEveryPassAndKept) {
    startServer("{}");
    addRow(1, 2, 0, "<command><id>1</id><data><changePassword/>");                 // not XML
    addRow(2, 2, 0, envelope(2, "<reboot/>"));                                       // unknown name
    addRow(3, 2, 0, "<command><id>3</id></command>");                                // no data
    addRow(4, 0, 0, "<command><id>4</id><data>");                                    // not XML, due
    addRow(6, 0, 0, envelope(6, "<reboot/>"));                                       // unknown, due
    std::shared_ptr<Command> good = createCommand(envelope(50, "<changePassword/>"));
    addRow(5, 2, 0, std::string(kStoredCommandPrefix) + good->envelopeText(), good->result().print());

    testing::internal::CaptureStdout();
    for (int pass = 0; pass < 2; ++pass) {
        reportFinished(context);
        runPending(context);
    }
    testing::internal::GetCapturedStdout();

    EXPECT_EQ(4, log.count("Could not parse command from DB")) << log.dump();
    EXPECT_EQ(4, log.count("Invalid command: reboot")) << "a due row that is damaged does not stop the loop";
    EXPECT_EQ(2, log.count("Command parsing error: 'command' has no 'data'"));
    // The good row among them got through and went; the damaged ones stay.
    ASSERT_EQ(1u, results().size());
    EXPECT_NE(std::string::npos, results()[0].body.find("<commandId>50</commandId>"));
    const auto stored = rows();
    ASSERT_EQ(5u, stored.size());
    const std::vector<std::string> kept = {"1", "2", "3", "4", "6"};
    for (size_t i = 0; i < stored.size(); ++i) EXPECT_EQ(kept[i], stored[i][0]);
}

TEST_F(DeliveryTest, DueCommandsRunInOrderAndScheduledOnesAtTheirSecond) {
    startServer("{}");
    const long now = static_cast<long>(clock.now());
    addRow(1, 4, now + 30, envelope(10, "<getScheduledCommands/>"));
    addRow(2, 0, 0, envelope(20, "<getScheduledCommands/>"));
    addRow(3, 4, now + 70, envelope(30, "<getScheduledCommands/>"));
    addRow(4, 4, now + 71, envelope(40, "<getScheduledCommands/>"));   // next pass
    addRow(5, 4, now - 5, envelope(50, "<getScheduledCommands/>"));

    testing::internal::CaptureStdout();
    runPending(context);
    testing::internal::GetCapturedStdout();

    EXPECT_TRUE(log.contains("Checking if there are pending commands"));
    // Row 3 is waited for from where row 1 left the clock.
    EXPECT_EQ((std::vector<unsigned>{30, 40}), clock.sleeps());
    std::vector<std::string> order;
    for (const rctest::RecordedRequest& r : results()) {
        const size_t at = r.body.find("<commandId>");
        order.push_back(r.body.substr(at + 11, r.body.find('<', at + 11) - at - 11));
    }
    EXPECT_EQ((std::vector<std::string>{"20", "50", "10", "30"}), order);
    const auto stored = rows();
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("4", stored[0][0]);
    EXPECT_EQ("4", stored[0][2]);
}

}  // namespace
}  // namespace dorel_remote_control
