// scheduleCommands, getScheduledCommands and removeScheduledCommands against
// the command store of a simulated headend.
#include "commands/query/command_runner.h"

#include "commands/core/command_store.h"
#include "commands/core/result_codes.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kWhen[] = "2030-01-02T03:04:05";
const char kGet[] = "getScheduledCommands";

std::string schedule(const std::string& when, const std::string& inner) {
    return envelope(3, "scheduleCommands", "<datetime>" + when + "</datetime><commands>" + inner + "</commands>");
}

TEST_F(StoreTest, ScheduleCommandsStoresEachInnerCommandAtItsUtcSecond) {
    EXPECT_EQ(Errors{}, errorsOf(schedule(kWhen, envelope(11, kGet) + envelope(12, kGet, "<note>kept</note>"))));
    auto rows = storedRows();
    ASSERT_EQ(2u, rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ((std::vector<std::string>{std::to_string(11 + i), "4", "1893553445", kWhen}),
                  std::vector<std::string>(rows[i].begin(), rows[i].begin() + 4));
        EXPECT_EQ(0u, rows[i][4].find(kStoredCommandPrefix)) << rows[i][4];
    }
    // What the poll cycle reads back is the inner command alone, parameters and all.
    EXPECT_EQ("kept", nodeText(childElement(createCommand(rows[1][4])->commandElement(), "note")));
    // Committed with them: the scheduling command itself, finished and
    // marked as a success.
    EXPECT_EQ((Rows{{"3", "2", "1"}}), root_.query(kStore, "SELECT commandId, status, result LIKE '%<result>0<%' "
                                                           "FROM RCCommand WHERE status = '2'"));
}

TEST_F(StoreTest, ScheduleCommandsKilledBeforeReportingIsNotRunAgainAfterARestart) {
    {
        // Taken from a reply and run; the agent dies before the result goes out.
        auto command = createCommand(schedule(kWhen, envelope(11, kGet) + envelope(12, kGet)));
        ASSERT_TRUE(save(*command));
        command->run();
    }
    // The restarted agent: what a pass runs before it talks to the server.
    PollContext context;
    testing::internal::CaptureStdout();
    reportFinished(context);
    runPending(context);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ((Rows{{"11", "4"}, {"12", "4"}, {"3", "2"}}),
              root_.query(kStore, "SELECT commandId, status FROM RCCommand ORDER BY status DESC, id"))
        << "one row per inner command; the result still waits for the server";
}

TEST_F(StoreTest, ScheduleCommandsRefusesBadRequestsKeepingTheInnerCommandsBeforeTheFault) {
    const struct {
        std::string envelope;
        Errors errors;
        size_t kept;
    } cases[] = {
        {schedule("2030-01-02T03:04:05Z", envelope(21, kGet)), {{kInvalidDatetime, "2030-01-02T03:04:05Z"}}, 0},
        {schedule("2030-01-02T03:04:05.5", envelope(21, kGet)), {{kInvalidDatetime, "2030-01-02T03:04:05.5"}}, 0},
        {envelope(3, "scheduleCommands", "<commands/>"), {{kInvalidCommand, "No 'datetime' field found."}}, 0},
        {envelope(3, "scheduleCommands", "<datetime>2030-01-02T03:04:05</datetime>"),
         {{kInvalidCommand, "No 'commands' field found."}}, 0},
        {schedule(kWhen, envelope(30, kGet) + envelope(31, "reboot") + envelope(32, kGet)),
         {{kInvalidCommand, "reboot"}}, 1},
        {schedule(kWhen, envelope(30, kGet) + "<command><id>33</id><data>text only</data></command>"),
         {{kInvalidCommand, "'data' has no command"}}, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.envelope);
        root_.exec(kStore, "DELETE FROM RCCommand");
        EXPECT_EQ(c.errors, errorsOf(c.envelope));
        EXPECT_EQ(c.kept, storedRows().size());
    }
}

TEST_F(StoreTest, GetScheduledCommandsListsWaitingCommandsWithTheirDatetimeAndSkipsDamagedRows) {
    run(schedule(kWhen, envelope(50, "changePassword", "<username>admin</username>")));
    insertRow(51, kStatusReceived, std::string(kStoredCommandPrefix) + envelope(51, kGet));
    insertRow(52, kStatusScheduled, "<command><id>52</id><data><broken");

    auto command = run(envelope(9, kGet));
    EXPECT_EQ(Errors{}, command->result().errors());
    // The copy is whole and outlives the stored texts it came from.
    const std::string printed = command->result().print();
    EXPECT_NE(std::string::npos,
              printed.find("<getScheduledCommandsResult>\n\t\t\t<scheduledCommand>\n"
                           "\t\t\t\t<datetime>2030-01-02T03:04:05</datetime>\n\t\t\t\t<command>\n"
                           "\t\t\t\t\t<id>50</id>\n\t\t\t\t\t<data>\n\t\t\t\t\t\t<changePassword>\n"
                           "\t\t\t\t\t\t\t<username>admin</username>\n\t\t\t\t\t\t</changePassword>\n"
                           "\t\t\t\t\t</data>\n\t\t\t\t</command>\n\t\t\t</scheduledCommand>\n"
                           "\t\t</getScheduledCommandsResult>"))
        << printed;
    EXPECT_EQ(3u, storedRows().size()) << "damaged rows are left for someone to look at";
}

class RemoveScheduledCommands : public StoreTest {
protected:
    void SetUp() override {
        root_.exec(kStore, "DELETE FROM RCCommand");
        run(schedule(kWhen, envelope(60, kGet) + envelope(61, kGet)));
        // The same id already taken up by the poll cycle: not waiting, never removed.
        insertRow(60, kStatusReceived, std::string(kStoredCommandPrefix) + envelope(60, kGet));
    }
    Rows remaining() const {
        return root_.query(kStore, "SELECT commandId, status FROM RCCommand WHERE status <> '2' ORDER BY id");
    }
};

TEST_F(RemoveScheduledCommands, RemovesTheListedWaitingIdsOrAllOfThem) {
    const std::pair<const char*, Rows> cases[] = {
        {"<id>61</id><id>60</id>", {{"60", "0"}}},
        {"<id>999</id><id></id><id>' OR 1=1 --</id>", {{"60", "4"}, {"61", "4"}, {"60", "0"}}},
        {"", {{"60", "0"}}},
    };
    for (const auto& [ids, left] : cases) {
        SCOPED_TRACE(ids);
        SetUp();
        EXPECT_EQ(Errors{}, errorsOf(envelope(9, "removeScheduledCommands", ids)));
        EXPECT_EQ(left, remaining());
    }
}

}  // namespace
}  // namespace rctest
