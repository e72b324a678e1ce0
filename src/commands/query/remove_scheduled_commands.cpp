#include "commands/query/remove_scheduled_commands.h"

#include "commands/core/result_codes.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

const char kScheduled[] = "4";

// Deletes the waiting rows of each id, starting at `first` and going through
// every following sibling element whatever its name (the server lists the ids
// one after the other). Returns false at the first delete that fails, with
// its id in failedId.
bool deleteByIds(const doreldb::DbHandle& db, const XmlNode* first, std::string& failedId) {
    for (const XmlNode* node = first; node != nullptr; node = node->next_sibling()) {
        if (node->type() != rapidxml::node_element) continue;
        const std::string commandId = nodeText(node);
        if (doreldb::deleteWhere(db, doreldb::RCCommand::table(), "deleteWhere",
                                 "commandId = %Q AND status = %Q", commandId.c_str(), kScheduled) != SQLITE_OK) {
            failedId = commandId;
            return false;
        }
    }
    return true;
}

}  // namespace

void CmdRemoveScheduledCommands::execute() {
    startResult();

    doreldb::DbHandle db = openDatabaseOrReport(env().paths().remoteControlDb());
    if (!db) return;
    doreldb::Transaction transaction(db);
    if (transaction.begin() != SQLITE_OK) {
        fail(kCouldNotAccessDatabase);
        return;
    }

    bool deleted;
    std::string failedId = "(all)";
    // The ids that follow the first are its siblings: the whole element is needed.
    if (const XmlNode* firstId = childElement(commandElement(), "id")) {
        deleted = deleteByIds(db, firstId, failedId);
    } else {
        deleted = doreldb::deleteWhere(db, doreldb::RCCommand::table(), "deleteStatus", "status = %Q",
                                       kScheduled) == SQLITE_OK;
    }

    if (!deleted) {
        fail(kCouldNotAccessDatabase, std::string(), "Could not remove scheduled command %s", failedId.c_str());
        transaction.rollback();
        return;
    }
    if (transaction.commit() != SQLITE_OK) {
        fail(kCouldNotAccessDatabase);
        return;
    }
    // Giving the space back is housekeeping, not part of the removal: SQLite
    // refuses a vacuum inside the open transaction (and each refusal would cost
    // the statement runner's three one-second retries per id), so it runs once,
    // after the commit, and its outcome does not change the result.
    doreldb::execStatement(db, "vacuum");
}

}  // namespace dorel_remote_control
