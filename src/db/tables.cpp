#include "db/tables.h"

namespace doreldb {

#define DORELDB_TABLE(Name, Database, Key, ...)                    \
    namespace Name {                                               \
    const TableDef& table() {                                      \
        static const TableDef definition(#Name, #__VA_ARGS__, Key); \
        return definition;                                         \
    }                                                              \
    }
#include "db/tables.def"
#undef DORELDB_TABLE

const std::vector<TableEntry>& allTables() {
#define DORELDB_TABLE(Name, Database, Key, ...) {&Name::table(), #Database},
    static const std::vector<TableEntry> tables = {
#include "db/tables.def"
    };
#undef DORELDB_TABLE
    return tables;
}

}  // namespace doreldb
