// scheduleCommands, getScheduledCommands and removeScheduledCommands against
// the command store of a simulated headend.
#include "commands/core/command_store.h"
#include "support/command_test.h"

#include <algorithm>
#include <tuple>

namespace {

using namespace dorel_remote_control;
using rctest::envelope;
using rctest::Errors;
using rctest::Rows;

const char kWhen[] = "2030-01-02T03:04:05";
const char kGet[] = "getScheduledCommands";

std::string schedule(const std::string& when, const std::string& inner) {
    return envelope(3, "scheduleCommands", "<datetime>" + when + "</datetime><commands>" + inner + "</commands>");
}

class ScheduledCommands : public rctest::CommandTest {
protected:
    // (commandId, status, nextTime, schedule, command) of the rows other than
    // the finished one a scheduling command leaves of itself.
    Rows storedRows() const {
        return query("SELECT commandId, status, nextTime, schedule, command FROM RCCommand WHERE status <> '2' "
                     "ORDER BY id", kStoreDb);
    }
};

TEST_F(ScheduledCommands, StoresEachInnerCommandAtItsUtcSecondTogetherWithItsOwnFinishedState) {
    // Saved first, as the poll cycle saves every command it takes from a reply.
    auto command = createCommand(env(), schedule(kWhen, envelope(11, kGet) + envelope(12, kGet, "<note>kept</note>")));
    ASSERT_TRUE(save(*command));
    command->run();
    EXPECT_EQ(Errors{}, command->result().errors());
    EXPECT_EQ("<data>\n\t<scheduleCommandsResult/>\n</data>\n", printXml(*command->result().data()));
    EXPECT_EQ((Rows{{"11", "4", "1893553445", kWhen}, {"12", "4", "1893553445", kWhen}}),
              query("SELECT commandId, status, nextTime, schedule FROM RCCommand WHERE status = '4'", kStoreDb));
    // What the poll cycle reads back is the inner command alone, parameters and all.
    EXPECT_EQ("kept", nodeText(childElement(createCommand(env(), storedRows()[1][4])->commandElement(), "note")));
    // Committed with them, in its own row: a restarted agent finds it
    // finished and never stores the inner commands twice.
    EXPECT_EQ((Rows{{"3", "2", "1"}}), query("SELECT commandId, status, result LIKE '%<result>0<%' FROM RCCommand "
                                             "WHERE status = '2'", kStoreDb));
    EXPECT_EQ((Rows{{"3"}}), query("SELECT count(*) FROM RCCommand", kStoreDb));

    // When its own finished row cannot go in with them, none does, and the
    // command says it failed.
    root_.exec(kStoreDb, "DELETE FROM RCCommand; CREATE TRIGGER full BEFORE UPDATE ON RCCommand WHEN NEW.status = '2' "
                         "BEGIN SELECT RAISE(ROLLBACK, 'disk full'); END");
    command = createCommand(env(), schedule(kWhen, envelope(11, kGet)));
    ASSERT_TRUE(save(*command));
    command->run();
    EXPECT_TRUE(command->result().hasError(kCouldNotAccessDatabase));
    EXPECT_FALSE(command->result().succeeded());
    EXPECT_TRUE(storedRows().size() == 1 && storedRows()[0][1] == "0") << "only its own row, as received";
}

TEST_F(ScheduledCommands, RefusesBadRequestsKeepingTheInnerCommandsBeforeTheFault) {
    const std::tuple<std::string, Errors, size_t> cases[] = {  // envelope, errors, inner commands kept
        {schedule("2030-01-02T03:04:05Z", envelope(21, kGet)), {{601, "2030-01-02T03:04:05Z"}}, 0},
        // The controller's time_t ends there: stored, it would wrap into the past and run at once.
        {schedule("2038-01-19T03:14:08", envelope(21, kGet)), {{601, "2038-01-19T03:14:08"}}, 0},
        {envelope(3, "scheduleCommands", "<commands/>"), {{101, "No 'datetime' field found."}}, 0},
        {envelope(3, "scheduleCommands", "<datetime>2030-01-02T03:04:05</datetime>"),
         {{101, "No 'commands' field found."}}, 0},
        {schedule(kWhen, envelope(30, kGet) + envelope(31, "reboot") + envelope(32, kGet)), {{101, "reboot"}}, 1},
        {schedule(kWhen, envelope(30, kGet) + "<command><id>33</id><data>text only</data></command>"),
         {{101, "'data' has no command"}}, 1},
    };
    for (const auto& [request, errors, kept] : cases) {
        SCOPED_TRACE(request);
        root_.exec(kStoreDb, "DELETE FROM RCCommand");
        EXPECT_EQ(errors, run(request)->result().errors());
        EXPECT_EQ(kept, storedRows().size());
    }
}

TEST_F(ScheduledCommands, ListsTheWaitingCommandsWithTheirDatetimeAndSkipsDamagedRows) {
    run(schedule(kWhen, envelope(50, "changePassword", "<username>admin</username>")));
    ASSERT_TRUE(save(*createCommand(env(), envelope(51, kGet))));  // received, not waiting
    root_.exec(kStoreDb, "INSERT INTO RCCommand (commandId, status, nextTime, schedule, command, result) "
                         "VALUES ('52', '4', '2000000000', '2031-05-06T07:08:09', '<command><id>52</id><data><x', '')");
    auto command = run(envelope(9, kGet));
    EXPECT_EQ(Errors{}, command->result().errors());
    // The copy is whole and outlives the stored texts it came from.
    std::string printed = command->result().print(env());
    printed.erase(std::remove_if(printed.begin(), printed.end(), [](char c) { return c == '\n' || c == '\t'; }),
                  printed.end());
    EXPECT_NE(std::string::npos,
              printed.find("<getScheduledCommandsResult><scheduledCommand><datetime>2030-01-02T03:04:05</datetime>"
                           "<command><id>50</id><data><changePassword><username>admin</username></changePassword>"
                           "</data></command></scheduledCommand></getScheduledCommandsResult>"))
        << printed;
    EXPECT_EQ(3u, storedRows().size()) << "damaged rows are left for someone to look at";
}

TEST_F(ScheduledCommands, RemovesTheListedWaitingIdsOrAllOfThem) {
    const std::pair<const char*, Rows> cases[] = {
        {"<id>61</id><other>60</other>", {{"60", "0"}}},  // whatever the names after the first id
        {"<id>999</id><id></id><id>' OR 1=1 --</id>", {{"60", "4"}, {"61", "4"}, {"60", "0"}}},
        {"", {{"60", "0"}}},
    };
    for (const auto& [ids, left] : cases) {
        SCOPED_TRACE(ids);
        root_.exec(kStoreDb, "DELETE FROM RCCommand");
        // 61 large enough to leave free pages behind.
        run(schedule(kWhen, envelope(60, kGet) + envelope(61, kGet, "<x>" + std::string(9000, 'x') + "</x>")));
        // The same id already taken up by the poll cycle: not waiting, never removed.
        ASSERT_TRUE(save(*createCommand(env(), envelope(60, kGet))));
        auto remove = run(envelope(9, "removeScheduledCommands", ids));
        EXPECT_EQ(Errors{}, remove->result().errors());
        EXPECT_EQ("<data>\n\t<removeScheduledCommandsResult/>\n</data>\n", printXml(*remove->result().data()));
        EXPECT_EQ(left, query("SELECT commandId, status FROM RCCommand WHERE status <> '2' ORDER BY id", kStoreDb));
        EXPECT_EQ((Rows{{"0"}}), query("PRAGMA freelist_count", kStoreDb));
    }
}

}  // namespace
