// The command table: what a saved command looks like in RCCommand, which rows
// count as due or finished, and what a row gives back after a restart.
#include "commands/core/command.h"
#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "db/access.h"
#include "db/tables.h"
#include "server/settings.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace dorel_remote_control {
namespace {

namespace col = doreldb::RCCommand;

const char* const kDb = "/dorel/DB/remote_control.sqlite";
const char* const kEnvelope = "<command><id>42</id><data><resetCAMModules><module>2</module></resetCAMModules></data></command>";

class StoredCommand : public Command {
public:
    explicit StoredCommand(const std::string& text) : Command(text, "resetCAMModules") {}

protected:
    void execute() override {
        XmlNode* out = startResult();
        appendElement(result().doc(), out, "module", "  ");
        addError(kCouldNotResetCam, "CAM of module 2 did not answer");
    }
};

class CommandStoreTest : public ::testing::Test {
protected:
    void SetUp() override { settings() = Settings(); }
    void TearDown() override { settings() = Settings(); }

    // id, commandId, status, nextTime, schedule, command, result
    std::vector<std::vector<std::string>> rows() const {
        return root.query(kDb, "SELECT id, commandId, status, nextTime, schedule, command, result FROM RCCommand ORDER BY id");
    }
    void addRow(int id, const char* status, const std::string& nextTime, const std::string& command = kEnvelope) const {
        root.exec(kDb, "INSERT INTO RCCommand (id, commandId, status, nextTime, schedule, command, result) VALUES (" +
                           std::to_string(id) + ", '" + std::to_string(id * 10) + "', '" + status + "', '" + nextTime +
                           "', '', '" + command + "', '')");
    }
    std::vector<int> ids(const std::vector<doreldb::Record>& records) const {
        std::vector<int> out;
        for (const doreldb::Record& r : records) out.push_back(r.toInt(col::id));
        return out;
    }
    doreldb::DbHandle open() const {
        doreldb::DbHandle db = doreldb::openDatabase(root.rooted(kDb));
        EXPECT_TRUE(db) << "cannot open the command table";
        return db;
    }

    rctest::HeadendRoot root;
    rctest::LogCapture log;
    rctest::FakeClock clock;
};

TEST_F(CommandStoreTest, NewCommandIsInsertedAndLaterUpdatedInPlace) {
    StoredCommand command(kEnvelope);
    ASSERT_TRUE(save(command));
    ASSERT_GT(command.id(), 0);
    EXPECT_TRUE(log.contains("Saving command to DB"));

    auto stored = rows();
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ(std::to_string(command.id()), stored[0][0]);
    EXPECT_EQ("42", stored[0][1]);
    EXPECT_EQ("0", stored[0][2]);
    EXPECT_EQ("0", stored[0][3]);
    EXPECT_EQ("", stored[0][4]);
    // The prefix is the headend's own, missing "=" included, byte for byte.
    EXPECT_EQ(0u, stored[0][5].rfind("<?xml version\"1.0\" encoding=\"utf-8\"?><command>\n\t<id>42</id>", 0)) << stored[0][5];
    EXPECT_EQ(std::string(kStoredCommandPrefix) + command.envelopeText(), stored[0][5]);
    EXPECT_EQ(command.result().print(), stored[0][6]);

    const int firstId = command.id();
    command.run();
    command.setNextTime(1700000100L);
    command.setSchedule("2023-11-14T22:15:00");
    ASSERT_TRUE(save(command));
    EXPECT_EQ(firstId, command.id());
    stored = rows();
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ("2", stored[0][2]);
    EXPECT_EQ("1700000100", stored[0][3]);
    EXPECT_EQ("2023-11-14T22:15:00", stored[0][4]);
    EXPECT_EQ(command.result().print(), stored[0][6]);

    StoredCommand second(kEnvelope);
    ASSERT_TRUE(save(second));
    EXPECT_GT(second.id(), firstId);
    EXPECT_EQ(2u, rows().size());
}

TEST_F(CommandStoreTest, DeliveredCommandLeavesTheTable) {
    StoredCommand kept(kEnvelope);
    StoredCommand delivered(kEnvelope);
    ASSERT_TRUE(save(kept));
    ASSERT_TRUE(save(delivered));

    delivered.setStatus(kStatusDelivered);
    EXPECT_TRUE(save(delivered));
    EXPECT_EQ(1, log.count("Deleting command from DB"));
    auto stored = rows();
    ASSERT_EQ(1u, stored.size());
    EXPECT_EQ(std::to_string(kept.id()), stored[0][0]);

    // Never stored: nothing is looked for, nothing else goes.
    StoredCommand neverStored(kEnvelope);
    neverStored.setStatus(kStatusDelivered);
    EXPECT_TRUE(save(neverStored));
    EXPECT_EQ(1, log.count("Deleting command from DB"));
    EXPECT_EQ(1u, rows().size());
}

TEST_F(CommandStoreTest, SaveWithoutTheDatabaseFails) {
    ASSERT_EQ(0, std::remove(root.rooted(kDb).c_str()));
    StoredCommand command(kEnvelope);
    EXPECT_FALSE(save(command));
    EXPECT_EQ(0, command.id());
    command.setStatus(kStatusDelivered);
    EXPECT_FALSE(save(command));
    EXPECT_FALSE(root.exists(kDb));  // not created behind the headend's back
}

TEST_F(CommandStoreTest, FailedWriteIsRolledBackAndKeepsTheOldRow) {
    StoredCommand command(kEnvelope);
    ASSERT_TRUE(save(command));
    const auto before = rows();

    root.exec(kDb, "CREATE TRIGGER noUpdate BEFORE UPDATE ON RCCommand BEGIN SELECT RAISE(ABORT, 'locked'); END");
    command.run();
    EXPECT_FALSE(save(command));
    EXPECT_EQ(before, rows());

    root.exec(kDb, "CREATE TRIGGER noInsert BEFORE INSERT ON RCCommand BEGIN SELECT RAISE(ABORT, 'locked'); END");
    StoredCommand fresh(kEnvelope);
    EXPECT_FALSE(save(fresh));
    EXPECT_EQ(0, fresh.id());
    EXPECT_EQ(before, rows());

    // The transaction was closed: the table takes writes again.
    root.exec(kDb, "DROP TRIGGER noUpdate");
    root.exec(kDb, "DROP TRIGGER noInsert");
    EXPECT_TRUE(save(fresh));
    EXPECT_TRUE(save(command));
    EXPECT_EQ("2", rows()[0][2]);
}

TEST_F(CommandStoreTest, DueRowsAreScheduledWithinSeventySecondsOrReceived) {
    const time_t now = clock.now();
    const auto at = [&](long offset) { return std::to_string(static_cast<long>(now) + offset); };
    addRow(1, "4", at(70));      // due: exactly at the edge
    addRow(2, "4", at(71));      // one second too far
    addRow(3, "0", at(100000));  // received: whatever its time
    addRow(4, "0", "0");
    addRow(5, "2", "0");         // finished, not to run again
    addRow(6, "4", at(-500));    // overdue
    addRow(7, "4", at(70));      // same time as 1: by id
    addRow(8, "1", "0");
    addRow(9, "3", at(10));

    doreldb::DbHandle db = open();
    EXPECT_EQ((std::vector<int>{4, 6, 1, 7, 3}), ids(selectDue(db.get(), now)));
    EXPECT_EQ((std::vector<int>{4, 6, 1, 7, 2, 3}), ids(selectDue(db.get(), now + 1)));
    EXPECT_EQ((std::vector<int>{5}), ids(selectFinished(db.get())));
}

TEST_F(CommandStoreTest, FinishedRowReloadsWithTheSameResultText) {
    StoredCommand command(kEnvelope);
    ASSERT_TRUE(save(command));
    command.run();
    command.setSchedule("2024-01-01T00:00:00");
    command.setNextTime(1700000000L);
    ASSERT_TRUE(save(command));
    const std::string storedResult = rows()[0][6];

    // As after a restart: a new object from what the table holds.
    doreldb::DbHandle db = open();
    std::vector<doreldb::Record> finished = selectFinished(db.get());
    ASSERT_EQ(1u, finished.size());
    StoredCommand reloaded(finished[0].text(col::command));
    load(reloaded, finished[0]);
    EXPECT_EQ(command.id(), reloaded.id());
    EXPECT_EQ(42, reloaded.commandId());
    EXPECT_EQ(kStatusFinished, reloaded.status());
    EXPECT_EQ(1700000000L, reloaded.nextTime());
    EXPECT_EQ("2024-01-01T00:00:00", reloaded.schedule());
    EXPECT_EQ(storedResult, reloaded.result().print());
    EXPECT_TRUE(reloaded.result().hasError(kCouldNotResetCam));

    // Saved again unchanged, the row stays as it was.
    const auto before = rows();
    ASSERT_TRUE(save(reloaded));
    EXPECT_EQ(before, rows());
}

TEST_F(CommandStoreTest, OnlyFinishedRowsBringTheirResultBack) {
    root.exec(kDb,
              "INSERT INTO RCCommand (id, commandId, status, nextTime, schedule, command, result) VALUES "
              "(3, '42', '4', '1700000300', NULL, '<command/>', 'not a result <'), "
              "(4, '42', '2', '0', '', '<command/>', 'not a result <')");
    doreldb::DbHandle db = open();
    std::vector<doreldb::Record> all = doreldb::doSelect(db.get(), col::table(), " ORDER BY id");
    ASSERT_EQ(2u, all.size());

    StoredCommand scheduled(kEnvelope);
    const std::string fresh = scheduled.result().print();
    load(scheduled, all[0]);
    EXPECT_EQ(3, scheduled.id());
    EXPECT_EQ(kStatusScheduled, scheduled.status());
    EXPECT_EQ(1700000300L, scheduled.nextTime());
    EXPECT_EQ("", scheduled.schedule());
    EXPECT_EQ(fresh, scheduled.result().print());

    StoredCommand finished(kEnvelope);
    EXPECT_THROW(load(finished, all[1]), rapidxml::parse_error);
}

}  // namespace
}  // namespace dorel_remote_control
