// Batches of the command table, which store all their commands or none. (A
// command's own rows through its life, which rows are due and what a row gives
// back after a restart: the dispatch test.)
#include "commands/core/command_store.h"
#include "support/command_test.h"

namespace rctest {
namespace {

using namespace dorel_remote_control;

using CommandStore = CommandTest;

// A failure that costs the transaction (here a trigger rolls it back, as a
// full disk would) ends the batch: nothing before it stays and nothing after it
// goes in on its own. A batch that is never committed leaves nothing either.
TEST_F(CommandStore, ABatchStoresAllItsCommandsOrNone) {
    root_.exec(kStoreDb, "CREATE TRIGGER diskFull BEFORE INSERT ON RCCommand WHEN NEW.commandId = '2' "
                         "BEGIN SELECT RAISE(ROLLBACK, 'disk full'); END");
    const auto write = [this](StoreBatch& batch, int commandId) {
        return batch.write(*createCommand(env(), envelope(commandId, "changePassword")));
    };
    {
        StoreBatch uncommitted(env());
        ASSERT_TRUE(uncommitted.ok());
        EXPECT_TRUE(write(uncommitted, 1));
    }
    StoreBatch failing(env());
    EXPECT_TRUE(write(failing, 1));
    EXPECT_FALSE(write(failing, 2));
    EXPECT_FALSE(write(failing, 3));
    EXPECT_FALSE(failing.commit());
    EXPECT_TRUE(query("SELECT commandId FROM RCCommand ORDER BY id", kStoreDb).empty());

    StoreBatch good(env());
    EXPECT_TRUE(write(good, 1) && write(good, 3) && good.commit());
    EXPECT_EQ((Rows{{"1"}, {"3"}}), query("SELECT commandId FROM RCCommand ORDER BY id", kStoreDb));
}

// A text of megabytes is written into its row page by page instead of through
// the statement; what is stored, and what a restart reads back, is the same.
TEST_F(CommandStore, LongTextsAreStoredAndReadBackAsAnyOther) {
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

}  // namespace
}  // namespace rctest
