#include "commands/maintenance/change_password.h"

#include "commands/core/result_codes.h"
#include "common/log.h"
#include "common/paths.h"
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
        logf(3, "changePassword: invalid user name '%s'", user.c_str());
        addError(kInvalidUsername);
        return;
    }
    XmlNode* passwordNode = requiredParameter("password", "No 'password' field found");
    if (passwordNode == nullptr) return;
    const std::string password = nodeText(passwordNode);
    if (password.empty()) {
        addError(kInvalidPassword);
        return;
    }

    doreldb::DbHandle db = openDatabaseOrReport(paths::configLocalDb());
    if (!db) return;
    doreldb::Transaction transaction(db.get());
    if (transaction.begin() != SQLITE_OK) {
        addError(kCouldNotAccessDatabase);
        return;
    }

    std::vector<doreldb::Record> rows;
    const int selected =
        doreldb::selectRows(rows, db.get(), doreldb::usuario::table(), " WHERE usuario LIKE %Q ", user.c_str());
    if (rows.empty()) {
        if (selected != SQLITE_OK) {
            logf(3, "changePassword: could not read users: %s", sqlite3_errmsg(db.get()));
            addError(kCouldNotAccessDatabase);
        } else {
            addError(kInvalidUsername, "User not found");
        }
        return;
    }

    doreldb::Record& account = rows.front();
    account.setIfDifferent(doreldb::usuario::clave, password);
    if (doreldb::update(db.get(), account) != SQLITE_OK) {
        logf(3, "changePassword: could not update the password of '%s'", user.c_str());
        addError(kCouldNotAccessDatabase);
        if (transaction.rollback() != SQLITE_OK) logf(3, "changePassword: ROLLBACK failed");
        return;
    }
    if (transaction.commit() != SQLITE_OK) {
        addError(kCouldNotAccessDatabase);
    }
}

}  // namespace dorel_remote_control
