#include "commands/query/get_scheduled_commands.h"

#include "commands/core/result_codes.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

void CmdGetScheduledCommands::execute() {
    XmlNode* list = startResult();

    doreldb::DbHandle db = openDatabaseOrReport(env().paths().remoteControlDb());
    if (!db) return;

    const std::vector<doreldb::Record> rows =
        doreldb::doSelect(db, doreldb::RCCommand::table(), " WHERE status LIKE %Q ", "4");

    XmlDocument& doc = result().doc();
    for (const doreldb::Record& row : rows) {
        // A damaged row must not hide the others from the server: it is left
        // out of the list and stays in the table for a later look.
        XmlNode* stored = nullptr;
        std::unique_ptr<ParsedXml> parsed;
        try {
            parsed = std::make_unique<ParsedXml>(row.text(doreldb::RCCommand::command));
            stored = childElement(&parsed->doc(), "command");
        } catch (const rapidxml::parse_error& e) {
            env().log(4, "Could not parse scheduled command of row %s: %s", row.key().c_str(), e.what());
            continue;
        }
        if (stored == nullptr) {
            env().log(4, "Scheduled command of row %s has no 'command' element", row.key().c_str());
            continue;
        }

        XmlNode* entry = appendElement(doc, list, "scheduledCommand");
        appendElement(doc, entry, "datetime", row.text(doreldb::RCCommand::schedule));
        entry->append_node(deepCopy(doc, stored));
    }
}

}  // namespace dorel_remote_control
