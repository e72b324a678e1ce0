// The command table: what a saved command looks like in RCCommand, which rows
// count as due or finished, and what a row gives back after a restart.
#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/dispatch.h"
#include "db/access.h"
#include "db/tables.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

namespace dorel_remote_control {
namespace {

using Rows = std::vector<std::vector<std::string>>;
const char* const kDb = "/dorel/DB/remote_control.sqlite";
// Finishes with an error, without touching the headend.
const char* const kEnvelope = "<command><id>42</id><data><changePassword/></data></command>";

class CommandStoreTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    Rows rows() const {
        return root.query(kDb, "SELECT id, commandId, status, nextTime, schedule, command, result FROM RCCommand "
                               "ORDER BY id");
    }
    std::vector<int> ids(const std::vector<doreldb::Record>& records) const {
        std::vector<int> out;
        for (const doreldb::Record& r : records) out.push_back(r.toInt(doreldb::RCCommand::id));
        return out;
    }
    rctest::HeadendRoot root;
    rctest::FakeClock clock;
    doreldb::DbHandle db = doreldb::openDatabase(root.rooted(kDb));
};

TEST_F(CommandStoreTest, SaveInsertsThenUpdatesInPlaceAndStatusThreeDeletes) {
    std::shared_ptr<Command> command = createCommand(kEnvelope);
    ASSERT_TRUE(save(*command));
    const std::string id = std::to_string(command->id());
    // The prefix is the headend's own, missing "=" included, byte for byte.
    const std::string text = "<?xml version\"1.0\" encoding=\"utf-8\"?>" + command->envelopeText();
    EXPECT_EQ((Rows{{id, "42", "0", "0", "", text, command->result().print()}}), rows());

    command->run();
    command->setNextTime(1700000100L);
    command->setSchedule("2023-11-14T22:15:00");
    ASSERT_TRUE(save(*command));
    EXPECT_EQ((Rows{{id, "42", "2", "1700000100", "2023-11-14T22:15:00", text, command->result().print()}}), rows());

    std::shared_ptr<Command> delivered = createCommand(kEnvelope);
    ASSERT_TRUE(save(*delivered));
    delivered->setStatus(kStatusDelivered);
    EXPECT_TRUE(save(*delivered));
    ASSERT_EQ(1u, rows().size());
    EXPECT_EQ(id, rows()[0][0]);
}

TEST_F(CommandStoreTest, DueRowsAreScheduledWithinSeventySecondsOrReceivedInOrderOfTimeThenId) {
    ASSERT_EQ(1700000000, clock.now());
    root.exec(kDb, "INSERT INTO RCCommand (id, status, nextTime) VALUES "
                   "(1, '4', '1700000070'), (2, '4', '1700000071'), "  // at the edge, one second too far
                   "(3, '0', '1700100000'), (4, '0', '0'), "           // received: whatever their time
                   "(5, '2', '0'), (6, '4', '1699999500'), "           // finished; overdue
                   "(7, '4', '1700000070'), (8, '3', '1700000000')");  // same time as 1; delivered
    EXPECT_EQ((std::vector<int>{4, 6, 1, 7, 3}), ids(selectDue(db.get(), clock.now())));
    EXPECT_EQ((std::vector<int>{4, 6, 1, 7, 2, 3}), ids(selectDue(db.get(), clock.now() + 1)));
    EXPECT_EQ((std::vector<int>{5}), ids(selectFinished(db.get())));
}

TEST_F(CommandStoreTest, FinishedRowReloadsWithTheSameResultText) {
    std::shared_ptr<Command> command = createCommand(kEnvelope);
    command->run();
    XmlNode* out = childElement(command->result().data(), "changePasswordResult");
    appendElement(command->result().doc(), out, "name", "   ");
    appendElement(command->result().doc(), out, "provider", " A & B <C>\r\n");
    ASSERT_TRUE(save(*command));
    const Rows before = rows();

    // As after a restart: a new object from what the table holds.
    std::vector<doreldb::Record> finished = selectFinished(db.get());
    ASSERT_EQ(1u, finished.size());
    std::shared_ptr<Command> reloaded = createFromRow(finished[0]);
    EXPECT_EQ(command->id(), reloaded->id());
    EXPECT_EQ(kStatusFinished, reloaded->status());
    EXPECT_EQ(before[0][6], reloaded->result().print());
    ASSERT_TRUE(save(*reloaded));
    EXPECT_EQ(before, rows()) << "saved again unchanged, the row stays as it was";
}

}  // namespace
}  // namespace dorel_remote_control
