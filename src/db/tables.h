// Every table the agent touches, described once (tables.def). For a table T:
//   doreldb::T::table()   its TableDef
//   doreldb::T::<column>  the position of a column, e.g. doreldb::RCCommand::status
#pragma once

#include "db/table.h"

#include <vector>

namespace doreldb {

#define DORELDB_AT(Column) Column
#define DORELDB_TABLE(Name, Database, Key, ...)                   \
    namespace Name {                                              \
    enum Column : size_t { __VA_ARGS__, kKnownColumns };          \
    const TableDef& table();                                      \
    }
#include "db/tables.def"
#undef DORELDB_TABLE
#undef DORELDB_AT

// Every declared table (for the dev kit's schema check and tests).
struct TableEntry {
    const TableDef* table;
    const char* database;   // "config_global", "temp_global", "config_local", "quor_global", "remote_control"
};
const std::vector<TableEntry>& allTables();

}  // namespace doreldb
