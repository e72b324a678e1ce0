// The factory and the command steps of the poll cycle against a simulated
// headend and the dev kit's test server: what is run, what reaches the
// server, and what stays in the table when it does not; and the batches that
// store a reply's commands all or none.
#include "commands/core/command_store.h"
#include "support/command_test.h"

#include <functional>

namespace rctest {
namespace {

using namespace dorel_remote_control;

using Strings = std::vector<std::string>;

class Dispatch : public CommandTest {
protected:
    Dispatch() : CommandTest({}) {}   // with certificates, for the test server
    // Runs steps of the poll cycle without the transport's echo of every exchange.
    void quietly(const std::function<void()>& steps) {
        testing::internal::CaptureStdout();
        steps();
        testing::internal::GetCapturedStdout();
    }
    // "HTTP status:commandId" of every result posted.
    Strings sent() const {
        Strings out;
        for (const RecordedRequest& r : server_->requests()) {
            const size_t at = r.body.find("<commandId>") + 11;
            out.push_back(std::to_string(r.status) + ":" + r.body.substr(at, r.body.find('<', at) - at));
        }
        return out;
    }
    Rows rows() const { return query("SELECT commandId, status FROM RCCommand ORDER BY id", kStoreDb); }
    // Row `id` holds command id*10.
    void addRow(int id, int status, long nextTime, const std::string& command, const std::string& result = "") const {
        root_.exec(kStoreDb, "INSERT INTO RCCommand (id, commandId, status, nextTime, command, result) VALUES (" +
                                 std::to_string(id) + ", '" + std::to_string(id * 10) + "', '" +
                                 std::to_string(status) + "', '" + std::to_string(nextTime) + "', '" + command +
                                 "', '" + result + "')");
    }

    PollContext context_{env()};
};

TEST_F(Dispatch, UndeliveredResultIsSentAgainAndTheReplysCommandsQueued) {
    serve("{\"routes\": {\"/commandResult\": [{\"code\": 500}, {\"body\": \"<statusReply><commands>" +
          envelope(501, "GETSCHEDULEDCOMMANDS") + envelope(502, "changePassword") +
          "</commands></statusReply>\"}]}}");
    std::shared_ptr<Command> command = createCommand(env(), envelope(43, "changePassword"));
    // Output that only prints back the same after a restart when reloaded as it was.
    appendElement(command->result().doc(), command->result().data(), "note", "   ");
    appendElement(command->result().doc(), command->result().data(), "text", " A & B <C>\r\n");
    ASSERT_TRUE(save(*command));
    quietly([&] { runAndReport(context_, *command); });
    EXPECT_EQ((Rows{{"43", "2"}}), rows()) << "finished, for a later pass";

    quietly([&] { reportFinished(context_); });
    EXPECT_EQ(1, env().count("Running changePassword command")) << "delivered, not run again";
    EXPECT_EQ((Strings{"500:43", "200:43"}), sent());
    EXPECT_EQ(server().requests()[0].body, server().requests()[1].body) << "the stored result, sent as it was";
    EXPECT_NE(std::string::npos, server().requests()[0].body.find("<commandResult>\n\t<id>headend-test</id>\n\t<mac>"
                                                                  "00:1A:2B:FF:FF:01</mac>\n\t<serialNumber>SN-0001<"
                                                                  "/serialNumber>\n\t<zatContractId>CONTRACT-1<"));
    ASSERT_EQ(2u, context_.queue.size());
    EXPECT_EQ((Rows{{"501", "0"}, {"502", "0"}}), rows()) << "the delivered command is gone, the new ones wait";

    // Each queued command runs once, from its row; a row taken care of
    // already is left alone.
    quietly([&] {
        for (const QueuedCommand& queued : context_.queue) runQueued(context_, queued);
        runQueued(context_, context_.queue.front());
    });
    EXPECT_EQ(1, env().count("Running getScheduledCommands command")) << "names are matched ignoring case";
    EXPECT_EQ((Strings{"500:43", "200:43", "200:501", "200:502"}), sent());
    EXPECT_TRUE(rows().empty());
}

TEST_F(Dispatch, RowsThatCannotBeMadeIntoCommandsAreLoggedOnEveryPassAndKept) {
    serve();
    addRow(1, 2, 0, "<command><id>1</id><data><changePassword/>");  // not XML
    addRow(3, 2, 0, "<command><id>3</id></command>");               // no data
    addRow(6, 0, 0, envelope(6, "reboot"));                         // unknown name, due
    addRow(7, 0, 0, "<command><data><changePassword/></data></command>");  // no id, due
    std::shared_ptr<Command> good = createCommand(env(), envelope(50, "changePassword"));
    // As earlier versions stored it: after a declaration that lacks its "=".
    addRow(5, 2, 0, "<?xml version\"1.0\" encoding=\"utf-8\"?>" + good->envelopeText(), good->result().print(env()));

    for (int pass = 0; pass < 2; ++pass) quietly([&] { reportFinished(context_); runPending(context_); });
    EXPECT_EQ(2, env().count("Could not parse command from DB")) << env().dump();
    EXPECT_EQ(2, env().count("Invalid command: reboot"));
    EXPECT_EQ(2, env().count("Command parsing error: 'command' has no 'data'"));
    EXPECT_EQ(2, env().count("Command parsing error: 'command' has no 'id'")) << "a damaged due row ends no loop";
    EXPECT_EQ(Strings{"200:50"}, sent()) << "the good row among them got through";
    EXPECT_EQ((Rows{{"10", "2"}, {"30", "2"}, {"60", "0"}, {"70", "0"}}), rows());
}

// Due: received rows whatever their time, and scheduled ones within the next
// 70 seconds, by time and then by row; a scheduled one is waited for.
TEST_F(Dispatch, DueCommandsRunInOrderAndScheduledOnesAtTheirSecond) {
    serve();
    const long now = static_cast<long>(env().now());
    const std::pair<int, long> statusAndTime[] = {{4, now + 30}, {0, now + 1000}, {4, now + 70}, {4, now + 71},
                                                  {4, now - 5},  {2, 0},          {4, now + 30}, {3, 0}};
    for (int id = 1; id <= 8; ++id) {
        const auto [status, nextTime] = statusAndTime[id - 1];
        addRow(id, status, nextTime, envelope(id * 10, "getScheduledCommands"));
    }
    quietly([&] { runPending(context_); });
    // Row 3 is waited for from where row 1 left the clock.
    EXPECT_EQ((std::vector<unsigned>{30, 40}), env().sleeps());
    EXPECT_EQ((Strings{"200:50", "200:10", "200:70", "200:30", "200:20"}), sent());
    EXPECT_EQ((Rows{{"40", "4"}, {"60", "2"}, {"80", "3"}}), rows());
}

// A failure that costs the transaction (here a trigger rolls it back, as a
// full disk would) ends the batch: nothing before it stays and nothing after it
// goes in on its own. (A batch never committed is its transaction's rollback,
// which the record frame's test shows.)
TEST_F(Dispatch, ABatchStoresAllItsCommandsOrNone) {
    root_.exec(kStoreDb, "CREATE TRIGGER diskFull BEFORE INSERT ON RCCommand WHEN NEW.commandId = '2' "
                         "BEGIN SELECT RAISE(ROLLBACK, 'disk full'); END");
    const auto write = [this](StoreBatch& batch, int commandId) {
        return batch.write(*createCommand(env(), envelope(commandId, "changePassword")));
    };
    StoreBatch failing(env());
    EXPECT_TRUE(write(failing, 1));
    EXPECT_FALSE(write(failing, 2));
    EXPECT_FALSE(write(failing, 3));
    EXPECT_FALSE(failing.commit());
    EXPECT_TRUE(rows().empty());

    StoreBatch good(env());
    EXPECT_TRUE(write(good, 1) && write(good, 3) && good.commit());
    EXPECT_EQ((Rows{{"1", "0"}, {"3", "0"}}), rows());
}

}  // namespace
// A text of megabytes is written into its row as any other; what is stored,
// and what a restart reads back, is the same.
TEST_F(Dispatch, LongTextsAreStoredAndReadBackAsAnyOther) {
    const std::string padding(70 * 1024, 'p');
    auto command = createCommand(env(), "<command><id>7</id><data><changePassword><user>" + padding +
                                            "</user></changePassword></data></command>");
    ASSERT_TRUE(save(*command));
    command->result().addError(kInvalidValue, "100% " + padding);
    ASSERT_TRUE(save(*command)) << "an update of the row";
    const Rows stored = query("SELECT command, result FROM RCCommand", kStoreDb);
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ(command->envelopeText(), stored[0][0]);
    EXPECT_NE(std::string::npos, stored[0][1].find("100  " + padding)) << "an update blanks the first '%'";
    const doreldb::DbHandle db = doreldb::openDatabase(env(), env().paths().remoteControlDb());
    EXPECT_EQ(command->envelopeText(), readCommandText(db, command->id()));
}

}  // namespace rctest
