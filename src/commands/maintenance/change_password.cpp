#include "commands/maintenance/change_password.h"

#include "commands/core/result_codes.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

// The only accounts the server may touch; the comparison is exact, because the
// LIKE lookup in the table would also match other spellings.
const char* const kAccounts[] = {"admin", "installer"};

bool isKnownAccount(const std::string& name) {
    for (const char* account : kAccounts) {
        if (name == account) return true;
    }
    return false;
}

}  // namespace

void CmdChangePassword::execute() {
    startResult();

    XmlNode* userNode = requiredParameter("username", "No 'username' field found");
    if (userNode == nullptr) return;
    const std::string user = nodeText(userNode);
    if (!isKnownAccount(user)) {
        fail(kInvalidUsername, std::string(), "changePassword: invalid user name '%s'", user.c_str());
        return;
    }
    XmlNode* passwordNode = requiredParameter("password", "No 'password' field found");
    if (passwordNode == nullptr) return;
    const std::string password = nodeText(passwordNode);
    if (password.empty()) {
        fail(kInvalidPassword);
        return;
    }

    doreldb::DbHandle db = openDatabaseOrReport(env().paths().configLocalDb());
    if (!db) return;
    doreldb::Transaction transaction(db);
    if (transaction.begin() != SQLITE_OK) {
        fail(kCouldNotAccessDatabase);
        return;
    }

    std::vector<doreldb::Record> rows;
    const int selected =
        doreldb::selectRows(rows, db, doreldb::usuario::table(), " WHERE usuario LIKE %Q ", user.c_str());
    if (rows.empty()) {
        if (selected != SQLITE_OK) {
            fail(kCouldNotAccessDatabase, std::string(), "changePassword: could not read users: %s", sqlite3_errmsg(db.get()));
        } else {
            fail(kInvalidUsername, "User not found");
        }
        return;
    }

    doreldb::Record& account = rows.front();
    account.setIfDifferent(doreldb::usuario::clave, password);
    if (doreldb::update(db, account) != SQLITE_OK) {
        fail(kCouldNotAccessDatabase, std::string(), "changePassword: could not update the password of '%s'", user.c_str());
        if (transaction.rollback() != SQLITE_OK) env().log(3, "changePassword: ROLLBACK failed");
        return;
    }
    if (transaction.commit() != SQLITE_OK) {
        fail(kCouldNotAccessDatabase);
    }
}

}  // namespace dorel_remote_control
