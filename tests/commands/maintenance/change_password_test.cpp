// changePassword against the accounts of a simulated headend's local database.
#include "support/command_test.h"

#include <sqlite3.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kLocalDb[] = "/dorel/DB/config_local.sqlite";

class ChangePassword : public CommandTest {
protected:
    Errors change(const std::string& user, const std::string& password) {
        const std::string params = "<username>" + user + "</username><password>" + password + "</password>";
        return errorsOf("changePassword", params);
    }
    Rows accounts() const { return root_.query(kLocalDb, "SELECT usuario, clave FROM usuario ORDER BY idUsuario"); }
};

TEST_F(ChangePassword, SetsOnlyAKnownAccountsPasswordWithTheFirstPercentSignAsABlank) {
    EXPECT_EQ((Errors{{kInvalidUsername, "Invalid username"}}), change("Admin", "x"));
    EXPECT_EQ((Errors{{kInvalidUsername, "Invalid username"}}), change("adm%", "x"));
    EXPECT_EQ((Errors{{kInvalidPassword, "Invalid password"}}), change("admin", ""));
    EXPECT_EQ(Errors{}, change("installer", "a%b%c"));
    EXPECT_EQ((Rows{{"admin", "admin"}, {"installer", "a b%c"}}), accounts());

    root_.exec(kLocalDb, "DELETE FROM usuario WHERE usuario = 'installer'");
    EXPECT_EQ((Errors{{kInvalidUsername, "User not found"}}), change("installer", "x"));
}

// A trigger refuses every update: the same password again needs none, another
// one is a database error, and so is a database another program holds.
TEST_F(ChangePassword, TheSamePasswordNeedsNoWriteAndARefusedOrLockedWriteIsADatabaseError) {
    root_.exec(kLocalDb, "CREATE TRIGGER readOnly BEFORE UPDATE ON usuario BEGIN SELECT RAISE(ABORT, 'no'); END");
    EXPECT_EQ(Errors{}, change("admin", "admin"));
    EXPECT_EQ(only(kCouldNotAccessDatabase), change("admin", "other"));

    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(root_.rooted(kLocalDb).c_str(), &raw));
    doreldb::DbHandle other(env(), raw);
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    EXPECT_EQ(only(kCouldNotAccessDatabase), change("admin", "admin"));
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "ROLLBACK", nullptr, nullptr, nullptr));
    EXPECT_EQ((Rows{{"admin", "admin"}, {"installer", "installer"}}), accounts());
}

}  // namespace
}  // namespace rctest
