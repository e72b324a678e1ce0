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

}  // namespace
}  // namespace rctest
