// The factory and the command steps of the poll cycle against a simulated
// headend and the dev kit's test server: what is run, what reaches the
// server, and what stays in the table when it does not.
#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "common/errors.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"
#include "support/log_capture.h"
#include "support/test_server.h"

#include <gtest/gtest.h>

namespace dorel_remote_control {
namespace {

using Strings = std::vector<std::string>;
using Rows = std::vector<Strings>;
const char* const kDb = "/dorel/DB/remote_control.sqlite";

std::string envelope(int id, const std::string& element) {
    return "<command><id>" + std::to_string(id) + "</id><data>" + element + "</data></command>";
}

class DispatchTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    void startServer(const std::string& scriptJson) {
        server = std::make_unique<rctest::TestServer>(root, scriptJson);
        server->configureAgent();
        settings().load();
    }
    // Runs a step of the poll cycle without the transport's echo of every exchange.
    template <typename Step>
    void quietly(Step step) {
        testing::internal::CaptureStdout();
        step();
        testing::internal::GetCapturedStdout();
    }
    // "HTTP status:commandId" of every result posted.
    Strings sent() const {
        Strings out;
        for (const rctest::RecordedRequest& r : server->requests()) {
            const size_t at = r.body.find("<commandId>") + 11;
            out.push_back(std::to_string(r.status) + ":" + r.body.substr(at, r.body.find('<', at) - at));
        }
        return out;
    }
    Rows rows() const { return root.query(kDb, "SELECT commandId, status FROM RCCommand ORDER BY id"); }
    // Row `id` holds command id*10.
    void addRow(int id, int status, long nextTime, const std::string& command, const std::string& result = "") const {
        root.exec(kDb, "INSERT INTO RCCommand (id, commandId, status, nextTime, command, result) VALUES (" +
                           std::to_string(id) + ", '" + std::to_string(id * 10) + "', '" + std::to_string(status) +
                           "', '" + std::to_string(nextTime) + "', '" + command + "', '" + result + "')");
    }

    rctest::HeadendRoot root;
    rctest::LogCapture log;
    rctest::FakeClock clock;
    std::unique_ptr<rctest::TestServer> server;
    PollContext context;
};

TEST_F(DispatchTest, UndeliveredResultIsSentAgainAndTheReplysCommandsQueued) {
    startServer("{\"routes\": {\"/commandResult\": [{\"code\": 500}, {\"body\": \"<statusReply><commands>" +
                envelope(501, "<GETSCHEDULEDCOMMANDS/>") + envelope(502, "<changePassword/>") +
                "</commands></statusReply>\"}]}}");
    std::shared_ptr<Command> command = createCommand(envelope(43, "<changePassword/>"));
    ASSERT_TRUE(save(*command));
    quietly([&] { runAndReport(context, *command); });
    EXPECT_EQ((Rows{{"2", command->result().print()}}),
              root.query(kDb, "SELECT status, result FROM RCCommand"));

    quietly([&] { reportFinished(context); });
    EXPECT_EQ(1, log.count("Running changePassword command")) << "delivered, not run again";
    EXPECT_EQ((Strings{"500:43", "200:43"}), sent());
    EXPECT_EQ(server->requests()[0].body, server->requests()[1].body);
    ASSERT_EQ(2u, context.queue.size());
    EXPECT_EQ((Rows{{"501", "0"}, {"502", "0"}}), rows()) << "the delivered command is gone, the new ones wait";

    // Each queued command runs once, from its row; a row taken care of
    // already is left alone.
    quietly([&] {
        for (const QueuedCommand& queued : context.queue) runQueued(context, queued);
        runQueued(context, context.queue.front());
    });
    EXPECT_EQ(1, log.count("Running getScheduledCommands command")) << "names are matched ignoring case";
    EXPECT_EQ((Strings{"500:43", "200:43", "200:501", "200:502"}), sent());
    EXPECT_TRUE(rows().empty());
}

TEST_F(DispatchTest, DamagedRowsAreLoggedOnEveryPassAndKept) {
    startServer("{}");
    addRow(1, 2, 0, "<command><id>1</id><data><changePassword/>");  // not XML
    addRow(2, 2, 0, envelope(2, "<reboot/>"));                        // unknown name
    addRow(3, 2, 0, "<command><id>3</id></command>");                 // no data
    addRow(4, 0, 0, "<command><id>4</id><data>");                     // not XML, due
    addRow(6, 0, 0, envelope(6, "<reboot/>"));                        // unknown, due
    std::shared_ptr<Command> good = createCommand(envelope(50, "<changePassword/>"));
    addRow(5, 2, 0, std::string(kStoredCommandPrefix) + good->envelopeText(), good->result().print());

    for (int pass = 0; pass < 2; ++pass) quietly([&] { reportFinished(context); runPending(context); });
    EXPECT_EQ(4, log.count("Could not parse command from DB")) << log.dump();
    EXPECT_EQ(4, log.count("Invalid command: reboot")) << "a damaged due row does not stop the loop";
    EXPECT_THROW(createCommand(envelope(2, "<reboot/>")), InvalidCommandError);
    EXPECT_EQ(2, log.count("Command parsing error: 'command' has no 'data'"));
    EXPECT_EQ(Strings{"200:50"}, sent()) << "the good row among them got through";
    EXPECT_EQ((Rows{{"10", "2"}, {"20", "2"}, {"30", "2"}, {"40", "0"}, {"60", "0"}}), rows());
}

TEST_F(DispatchTest, DueCommandsRunInOrderAndScheduledOnesAtTheirSecond) {
    startServer("{}");
    const long now = static_cast<long>(clock.now());
    const std::pair<int, long> statusAndTime[] = {{4, now + 30}, {0, 0}, {4, now + 70}, {4, now + 71}, {4, now - 5}};
    for (int id = 1; id <= 5; ++id) {
        const auto [status, nextTime] = statusAndTime[id - 1];
        addRow(id, status, nextTime, envelope(id * 10, "<getScheduledCommands/>"));
    }
    quietly([&] { runPending(context); });
    // Row 3 is waited for from where row 1 left the clock.
    EXPECT_EQ((std::vector<unsigned>{30, 40}), clock.sleeps());
    EXPECT_EQ((Strings{"200:20", "200:50", "200:10", "200:30"}), sent());
    EXPECT_EQ((Rows{{"40", "4"}}), rows());
}

}  // namespace
}  // namespace dorel_remote_control
