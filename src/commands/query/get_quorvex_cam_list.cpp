#include "commands/query/get_quorvex_cam_list.h"

#include "commands/core/result_codes.h"
#include "commands/query/quorvex_cam_list.h"
#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

void CmdGetQuorvexCAMList::execute() {
    XmlNode* element = startResult();

    // Keys are long and the server rarely wants them: only an explicit "1".
    CamListFields fields;
    fields.hasPublicKey = true;
    fields.publicKey = nodeText(parameter("includePublicKeys")) == "1";

    doreldb::DbHandle db = openDatabaseOrReport(env().paths().quorGlobalDb());
    if (!db) return;
    std::vector<doreldb::Record> rows;
    if (doreldb::selectRows(rows, db, doreldb::Quorvex::table(), nullptr) != SQLITE_OK) {
        // An empty list would tell the server the headend has no CAMs.
        fail(kCouldNotAccessDatabase);
        return;
    }
    appendCamList(result().doc(), element, rows, fields);
}

}  // namespace dorel_remote_control
