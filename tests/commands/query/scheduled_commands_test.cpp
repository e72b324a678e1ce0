#include "commands/query/command_runner.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"
#include "commands/query/utc_time.h"
#include "common/clock.h"
#include "common/xml.h"
#include "db/access.h"
#include "db/tables.h"
#include "support/log_capture.h"

#include <sqlite3.h>

#include <cstdlib>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kWhen[] = "2030-01-02T03:04:05";
const char kWhenSeconds[] = "1893553445";

std::string scheduleParams(const std::string& when, const std::string& inner) {
    return "<datetime>" + when + "</datetime><commands>" + inner + "</commands>";
}

class ScheduleCommands : public StoreTest {};

TEST_F(ScheduleCommands, StoresEachInnerCommandWithItsOwnEnvelopeAsScheduled) {
    std::shared_ptr<Command> command;
    {
        ScopedUtcTimezone restoreTzAfterwards;
        setenv("TZ", "America/New_York", 1);
        tzset();
        command = run(envelope(
            7, "scheduleCommands",
            scheduleParams(kWhen, envelope(11, "getScheduledCommands") +
                                      envelope(12, "changePassword", "<username>admin</username><password>x</password>"))));
    }

    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_TRUE(command->result().succeeded());
    ASSERT_NE(nullptr, childElement(command->result().data(), "scheduleCommandsResult"));

    auto rows = storedRows();
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ("11", rows[0][0]);
    EXPECT_EQ("12", rows[1][0]);
    for (const auto& row : rows) {
        EXPECT_EQ("4", row[1]);
        EXPECT_EQ(kWhenSeconds, row[2]);
        EXPECT_EQ(kWhen, row[3]);
        EXPECT_EQ(0u, row[4].find(kStoredCommandPrefix)) << row[4];
    }
    EXPECT_NE(std::string::npos, rows[0][4].find("<getScheduledCommands"));
    EXPECT_EQ(std::string::npos, rows[0][4].find("scheduleCommands>"));
    EXPECT_NE(std::string::npos, rows[1][4].find("<username>admin</username>"));

    // What the poll cycle will read back is a command it can run.
    auto stored = root_.query(kStore, "SELECT id, commandId, status, nextTime, schedule, command, result FROM RCCommand");
    std::vector<char*> values;
    for (auto& v : stored[1]) values.push_back(&v[0]);
    doreldb::Record row(doreldb::RCCommand::table(), values.data(), static_cast<int>(values.size()));
    auto reloaded = createFromRow(row);
    EXPECT_EQ("changePassword", reloaded->name());
    EXPECT_EQ(12, reloaded->commandId());
    EXPECT_EQ(1893553445L, reloaded->nextTime());
}

TEST_F(ScheduleCommands, RejectsADatetimeNotWhollyInTheFormat) {
    for (const std::string when : {"2030-01-02T03:04:05Z", "2030-01-02T03:04:05.5", "", "02/01/2030 03:04"}) {
        SCOPED_TRACE(when);
        auto command = run(envelope(3, "scheduleCommands", scheduleParams(when, envelope(21, "getScheduledCommands"))));
        EXPECT_EQ((std::map<int, std::string>{{kInvalidDatetime, when.empty() ? "Invalid datetime" : when}}),
                  errorsOf(*command));
        EXPECT_FALSE(command->result().succeeded());
    }
    EXPECT_TRUE(storedRows().empty());
}

TEST_F(ScheduleCommands, MissingFieldsAreInvalidCommands) {
    auto noDatetime = run(envelope(3, "scheduleCommands", "<commands>" + envelope(21, "getScheduledCommands") + "</commands>"));
    EXPECT_EQ((std::map<int, std::string>{{kInvalidCommand, "No 'datetime' field found."}}), errorsOf(*noDatetime));

    auto noCommands = run(envelope(3, "scheduleCommands", "<datetime>" + std::string(kWhen) + "</datetime>"));
    EXPECT_EQ((std::map<int, std::string>{{kInvalidCommand, "No 'commands' field found."}}), errorsOf(*noCommands));

    EXPECT_TRUE(storedRows().empty());
}

TEST_F(ScheduleCommands, ABadInnerCommandStopsTheListButKeepsTheOnesBefore) {
    struct Case {
        std::string bad;
        std::string message;
    } cases[] = {
        {envelope(31, "reboot"), "reboot"},
        {"<command><data><getScheduledCommands/></data></command>", "'command' has no 'id'"},
        {"<command><id>32</id></command>", "'command' has no 'data'"},
        {"<command><id>33</id><data>text only</data></command>", "'data' has no command"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bad);
        root_.exec(kStore, "DELETE FROM RCCommand");
        auto command = run(envelope(
            3, "scheduleCommands",
            scheduleParams(kWhen, envelope(30, "getScheduledCommands") + c.bad + envelope(34, "getScheduledCommands"))));
        EXPECT_EQ((std::map<int, std::string>{{kInvalidCommand, c.message}}), errorsOf(*command));
        auto rows = storedRows();
        ASSERT_EQ(1u, rows.size());
        EXPECT_EQ("30", rows[0][0]);
    }
}

TEST_F(ScheduleCommands, AStoreFailureIsRetriedWithoutStoringAnyCommandTwice) {
    // The second inner command cannot be stored until run() retries the
    // command; the first one, stored before the failure, must not be stored
    // again by the retry.
    root_.exec(kStore,
               "CREATE TRIGGER refuse41 BEFORE INSERT ON RCCommand WHEN NEW.commandId = '41' "
               "BEGIN SELECT RAISE(ABORT, 'refused'); END");
    LogCapture log;
    clock::ScopedOverride retryLiftsTheFailure([] { return time_t{1700000000}; },
                                               [&](unsigned) {
                                                   if (log.contains("Retrying (1)")) {
                                                       root_.exec(kStore, "DROP TRIGGER IF EXISTS refuse41");
                                                   }
                                               });

    auto command = run(envelope(
        3, "scheduleCommands",
        scheduleParams(kWhen, envelope(40, "getScheduledCommands") + envelope(41, "getScheduledCommands"))));

    EXPECT_TRUE(log.contains("Retrying (1)")) << log.dump();
    EXPECT_TRUE(errorsOf(*command).empty());
    auto rows = storedRows();
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ("40", rows[0][0]);
    EXPECT_EQ("41", rows[1][0]);
}

class GetScheduledCommands : public StoreTest {};

TEST_F(GetScheduledCommands, ListsWaitingCommandsWithTheirDatetimeAndSkipsDamagedRows) {
    run(envelope(1, "scheduleCommands",
                 scheduleParams(kWhen, envelope(50, "changePassword", "<username>admin</username><password>p</password>"))));
    insertRow(51, kStatusReceived, "", std::string(kStoredCommandPrefix) + envelope(51, "getScheduledCommands"));
    insertRow(52, kStatusScheduled, "2031-05-06T07:08:09", "<command><id>52</id><data><broken");
    insertRow(53, kStatusScheduled, "2031-05-06T07:08:09", "<notACommand/>");
    run(envelope(2, "scheduleCommands",
                 scheduleParams("2032-01-01T00:00:00", envelope(54, "stopTVCAMOTAFirmwareUpgrade"))));

    auto command = run(envelope(9, "getScheduledCommands"));
    EXPECT_TRUE(errorsOf(*command).empty());

    XmlNode* list = childElement(command->result().data(), "getScheduledCommandsResult");
    ASSERT_NE(nullptr, list);
    std::vector<XmlNode*> entries;
    for (XmlNode* n = list->first_node(); n; n = n->next_sibling()) entries.push_back(n);
    ASSERT_EQ(2u, entries.size());

    struct Expected {
        const char* datetime;
        const char* id;
        const char* name;
    } expected[] = {{kWhen, "50", "changePassword"}, {"2032-01-01T00:00:00", "54", "stopTVCAMOTAFirmwareUpgrade"}};
    for (size_t i = 0; i < entries.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ("scheduledCommand", nodeName(entries[i]));
        XmlNode* first = entries[i]->first_node();
        ASSERT_NE(nullptr, first);
        EXPECT_EQ("datetime", nodeName(first));
        EXPECT_EQ(expected[i].datetime, nodeText(first));
        XmlNode* copy = first->next_sibling();
        ASSERT_NE(nullptr, copy);
        EXPECT_EQ("command", nodeName(copy));
        EXPECT_EQ(expected[i].id, nodeText(childElement(copy, "id")));
        EXPECT_NE(nullptr, childElement(childElement(copy, "data"), expected[i].name));
    }
    // The copy is whole: the parameters are there and the printed result
    // carries them once the stored texts are gone.
    const std::string printed = command->result().print();
    EXPECT_NE(std::string::npos, printed.find("<username>admin</username>")) << printed;
    // Damaged rows are left for someone to look at.
    EXPECT_EQ(5u, storedRows().size());
}

TEST_F(GetScheduledCommands, AMissingStoreIsADatabaseError) {
    ASSERT_EQ(0, remove(root_.rooted(kStore).c_str()));
    auto command = run(envelope(9, "getScheduledCommands"));
    EXPECT_EQ((std::map<int, std::string>{{kCouldNotAccessDatabase, "Could not access database"}}), errorsOf(*command));
    EXPECT_EQ(nullptr, childElement(command->result().data(), "getScheduledCommandsResult")->first_node());
}

class RemoveScheduledCommands : public StoreTest {
protected:
    void SetUp() override {
        run(envelope(1, "scheduleCommands",
                     scheduleParams(kWhen, envelope(60, "getScheduledCommands") + envelope(61, "getScheduledCommands") +
                                               envelope(62, "getScheduledCommands"))));
        // A command with a waiting id that the poll cycle has already taken up.
        insertRow(60, kStatusReceived, "", std::string(kStoredCommandPrefix) + envelope(60, "getScheduledCommands"));
    }

    std::vector<std::string> remainingIds() const {
        std::vector<std::string> ids;
        for (const auto& row : storedRows()) ids.push_back(row[0] + "/" + row[1]);
        return ids;
    }
};

TEST_F(RemoveScheduledCommands, RemovesEveryListedIdOnlyWhileItWaits) {
    auto command = run(envelope(9, "removeScheduledCommands", "<id>60</id><id>62</id>"));
    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_TRUE(command->result().succeeded());
    EXPECT_NE(nullptr, childElement(command->result().data(), "removeScheduledCommandsResult"));
    EXPECT_EQ((std::vector<std::string>{"61/4", "60/0"}), remainingIds());
}

TEST_F(RemoveScheduledCommands, ElementsAfterTheFirstIdAreIdsWhateverTheirNames) {
    auto command = run(envelope(9, "removeScheduledCommands", "<other>62</other><id>61</id><x>60</x>"));
    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_EQ((std::vector<std::string>{"62/4", "60/0"}), remainingIds());
}

TEST_F(RemoveScheduledCommands, AnIdMatchingNothingIsNoError) {
    auto command = run(envelope(9, "removeScheduledCommands", "<id>999</id><id></id><id>' OR 1=1 --</id>"));
    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_EQ((std::vector<std::string>{"60/4", "61/4", "62/4", "60/0"}), remainingIds());
}

TEST_F(RemoveScheduledCommands, WithoutIdsEmptiesTheWaitingList) {
    auto command = run(envelope(9, "removeScheduledCommands"));
    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_EQ((std::vector<std::string>{"60/0"}), remainingIds());
}

TEST_F(RemoveScheduledCommands, AFailedDeleteUndoesTheOnesBefore) {
    root_.exec(kStore,
               "CREATE TRIGGER keep62 BEFORE DELETE ON RCCommand WHEN OLD.commandId = '62' "
               "BEGIN SELECT RAISE(ABORT, 'kept'); END");
    auto command = run(envelope(9, "removeScheduledCommands", "<id>61</id><id>62</id><id>60</id>"));
    EXPECT_EQ((std::map<int, std::string>{{kCouldNotAccessDatabase, "Could not access database"}}), errorsOf(*command));
    EXPECT_EQ((std::vector<std::string>{"60/4", "61/4", "62/4", "60/0"}), remainingIds());
}

TEST_F(RemoveScheduledCommands, ALockedStoreIsADatabaseErrorAndRemovesNothing) {
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(root_.rooted(kStore).c_str(), &raw));
    doreldb::DbHandle other(raw);
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));

    for (const std::string params : {"<id>61</id>", ""}) {
        auto command = run(envelope(9, "removeScheduledCommands", params));
        EXPECT_EQ((std::map<int, std::string>{{kCouldNotAccessDatabase, "Could not access database"}}),
                  errorsOf(*command));
    }
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "ROLLBACK", nullptr, nullptr, nullptr));
    EXPECT_EQ((std::vector<std::string>{"60/4", "61/4", "62/4", "60/0"}), remainingIds());
}

}  // namespace
}  // namespace rctest
