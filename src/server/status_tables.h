// The headend tables a status document is built from, each read once per
// document and grouped in memory the way the per-module queries selected them
// (`MAC LIKE <module MAC>`, `fk_id... LIKE <key>`), so that the cost of a pass
// grows with the headend and not with its square.
#pragma once

#include "db/row_index.h"

#include <sqlite3.h>

namespace dorel_remote_control {

struct StatusTables {
    // Reads every table below; a table that cannot be read is empty (its
    // failure already logged by the table layer).
    static StatusTables read(sqlite3* configDb, sqlite3* tempDb);

    std::vector<doreldb::Record> modules;  // RedesModulos, table order
    doreldb::RowIndex liveModules;         // ModulosCabecera by MAC
    doreldb::RowIndex cams;                // CAMInfoGlobal by MAC
    doreldb::RowIndex inputs;              // EntradasGlobal by MAC
    doreldb::RowIndex tuners;              // NimGlobal by fk_idEntradasGlobal
    doreldb::RowIndex liveTuners;          // TempNIMGlobal by fk_idNimGlobal
    doreldb::RowIndex outputs;             // SalidasLogicasGlobal by MAC
};

}  // namespace dorel_remote_control
