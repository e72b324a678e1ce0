#include "commands/query/set_quorvex_cam_list.h"

#include "commands/core/result_codes.h"
#include "commands/query/quor_key_tool.h"
#include "commands/query/quorvex_cam_list.h"
#include "common/env.h"
#include "db/access.h"
#include "db/like.h"
#include "db/tables.h"

#include <utility>
#include <vector>

#include <strings.h>

namespace dorel_remote_control {

namespace {

namespace q = doreldb::Quorvex;

// What a CAM already in the table keeps when the list names it again: its
// row, its key (a list without keys must not make the agent fetch them
// again) and registration date unless the list gives new ones, and the
// headend's own row state.
const size_t kKeptColumns[] = {q::idQuorvex, q::K_Publica, q::Alta, q::estado};

std::string today(Env& env) {
    const time_t now = env.now();
    struct tm local;
    char date[16] = "";
    if (localtime_r(&now, &local) != nullptr) strftime(date, sizeof date, "%Y-%m-%d", &local);
    return date;
}

bool isSet(const XmlNode* flag) {
    const std::string value = trimmed(nodeText(flag));
    return flag != nullptr && (value == "1" || strcasecmp(value.c_str(), "true") == 0);
}

}  // namespace

void CmdSetQuorvexCAMList::execute() {
    startResult();
    const bool partial = isSet(parameter("partialList"));
    XmlNode* list = parameter("list");
    if (list == nullptr) {
        fail(kInvalidCommand, "No 'list' element found", "No 'list' element found");
        return;
    }

    doreldb::DbHandle db = openDatabaseOrReport(env().paths().quorGlobalDb());
    if (!db) return;
    doreldb::Transaction transaction(db);
    if (transaction.begin() != SQLITE_OK ||
        (!partial && doreldb::execStatement(db, "DELETE FROM Quorvex") != SQLITE_OK)) {
        fail(kCouldNotAccessDatabase);
        return;
    }

    // The table is read once; a CAM is looked up among these rows as the
    // LIKE of its serial number would find it, and each row written joins them
    // so that the same CAM twice in one list also stays one row.
    std::vector<doreldb::Record> rows;
    if (doreldb::selectRows(rows, db, q::table(), nullptr) != SQLITE_OK) {
        fail(kCouldNotAccessDatabase);
        return;
    }
    const std::string date = today(env());
    for (const XmlNode* cam : camElements(list)) {
        CamValues values = readCam(cam);
        const auto serial = values.find(q::idCliente);
        if (serial == values.end()) {
            fail(kInvalidCommand, "No 'serialNumber' element found", "No 'serialNumber' element found");
            return;  // the transaction rolls back
        }

        doreldb::Record record(q::table());
        record.set(q::Fabricante, "");
        record.set(q::K_Publica, "");
        record.set(q::Alta, date);
        record.set(q::EK_Shared, "");
        record.set(q::Descripcion, "");
        record.set(q::Reintentos, "0");
        record.set(q::Error, "0");
        // The same CAM twice (in the table or earlier in this list) stays one row.
        for (auto existing = rows.begin(); existing != rows.end();) {
            if (!doreldb::likeMatch(serial->second, existing->text(q::idCliente))) {
                ++existing;
                continue;
            }
            for (size_t column : kKeptColumns) record.set(column, existing->value(column));
            if (doreldb::deleteId(db, *existing) != SQLITE_OK) {
                fail(kCouldNotAccessDatabase);
                return;
            }
            existing = rows.erase(existing);
        }
        for (const auto& [column, text] : values) {
            if (column != q::K_Publica || !text.empty()) record.set(column, text);
        }
        if (doreldb::insert(db, record) != SQLITE_OK) {
            fail(kCouldNotAccessDatabase);
            return;
        }
        rows.push_back(std::move(record));
    }
    if (transaction.commit() != SQLITE_OK) {
        fail(kCouldNotAccessDatabase);
        return;
    }
    // SQLite cannot vacuum inside a transaction: the emptied table's pages
    // are given back once the new list is in.
    if (!partial) doreldb::execStatement(db, "vacuum");

    if (runQuorKey(env(), QuorKeyRun::kRebuildKeyFile) != 0) fail(kErrorRegeneratingKey);
}

}  // namespace dorel_remote_control
