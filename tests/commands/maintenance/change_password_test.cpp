#include "commands/query/command_runner.h"

#include "commands/core/result_codes.h"

#include "db/access.h"

#include <sqlite3.h>

namespace rctest {
namespace {

using namespace dorel_remote_control;

const char kLocalDb[] = "/dorel/DB/config_local.sqlite";

std::string params(const std::string& user, const std::string& password) {
    return "<username>" + user + "</username><password>" + password + "</password>";
}

class ChangePassword : public StoreTest {
protected:
    std::shared_ptr<Command> change(const std::string& parameters) {
        return run(envelope(8, "changePassword", parameters));
    }

    // usuario/clave of every account, in row order.
    std::vector<std::string> accounts() const {
        std::vector<std::string> out;
        for (const auto& row : root_.query(kLocalDb, "SELECT usuario, clave FROM usuario ORDER BY idUsuario")) {
            out.push_back(row[0] + "/" + row[1]);
        }
        return out;
    }
};

TEST_F(ChangePassword, SetsThePasswordOfTheNamedAccountOnly) {
    auto command = change(params("installer", "n3w-Secret"));
    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_TRUE(command->result().succeeded());
    EXPECT_NE(nullptr, childElement(command->result().data(), "changePasswordResult"));
    EXPECT_EQ((std::vector<std::string>{"admin/admin", "installer/n3w-Secret"}), accounts());
}

TEST_F(ChangePassword, APercentSignIsStoredAsABlank) {
    ASSERT_TRUE(errorsOf(*change(params("admin", "100%ok"))).empty());
    ASSERT_TRUE(errorsOf(*change(params("installer", "a%b%c"))).empty());
    EXPECT_EQ((std::vector<std::string>{"admin/100 ok", "installer/a b%c"}), accounts());
}

TEST_F(ChangePassword, RejectsBadRequestsWithoutTouchingTheAccounts) {
    struct Case {
        const char* what;
        std::string parameters;
        int code;
        std::string text;
    } cases[] = {
        {"no user name", "<password>x</password>", kInvalidCommand, "No 'username' field found"},
        {"capital letter", params("Admin", "x"), kInvalidUsername, "Invalid username"},
        {"other account", params("root", "x"), kInvalidUsername, "Invalid username"},
        {"LIKE pattern", params("adm%", "x"), kInvalidUsername, "Invalid username"},
        {"trailing blank", params("admin ", "x"), kInvalidUsername, "Invalid username"},
        {"no password", "<username>admin</username>", kInvalidCommand, "No 'password' field found"},
        {"empty password", params("admin", ""), kInvalidPassword, "Invalid password"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto command = change(c.parameters);
        EXPECT_EQ((std::map<int, std::string>{{c.code, c.text}}), errorsOf(*command));
        EXPECT_FALSE(command->result().succeeded());
    }
    EXPECT_EQ((std::vector<std::string>{"admin/admin", "installer/installer"}), accounts());
}

TEST_F(ChangePassword, AnAccountMissingFromTheTableIsNotFound) {
    root_.exec(kLocalDb, "DELETE FROM usuario WHERE usuario = 'installer'");
    auto command = change(params("installer", "x"));
    EXPECT_EQ((std::map<int, std::string>{{kInvalidUsername, "User not found"}}), errorsOf(*command));
    EXPECT_EQ((std::vector<std::string>{"admin/admin"}), accounts());
}

TEST_F(ChangePassword, TheSamePasswordAgainSucceedsWithoutWriting) {
    root_.exec(kLocalDb,
               "CREATE TRIGGER readOnly BEFORE UPDATE ON usuario BEGIN SELECT RAISE(ABORT, 'no writes'); END");
    auto command = change(params("admin", "admin"));
    EXPECT_TRUE(errorsOf(*command).empty());
    EXPECT_TRUE(command->result().succeeded());

    // The same trigger turns a real change into a failed update.
    auto refused = change(params("admin", "other"));
    EXPECT_EQ((std::map<int, std::string>{{kCouldNotAccessDatabase, "Could not access database"}}), errorsOf(*refused));
    EXPECT_EQ((std::vector<std::string>{"admin/admin", "installer/installer"}), accounts());
}

TEST_F(ChangePassword, ALockedDatabaseIsADatabaseError) {
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(root_.rooted(kLocalDb).c_str(), &raw));
    doreldb::DbHandle other(raw);
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));

    auto command = change(params("admin", "locked-out"));
    EXPECT_EQ((std::map<int, std::string>{{kCouldNotAccessDatabase, "Could not access database"}}), errorsOf(*command));
    EXPECT_FALSE(clock_.sleeps().empty());

    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "ROLLBACK", nullptr, nullptr, nullptr));
    EXPECT_EQ((std::vector<std::string>{"admin/admin", "installer/installer"}), accounts());
}

}  // namespace
}  // namespace rctest
