// A table read once, filtered in memory. Commands that walk the whole headend
// (a document of every module, a reset of every module) read each table with
// one select and group its rows here, instead of one select per module or
// row, whose cost would grow with the square of the headend. A filter gives
// the rows, in table order, that "WHERE c1 LIKE v1 and c2 LIKE v2 ..." would.
#pragma once

#include "db/record.h"

#include <initializer_list>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

struct sqlite3;

namespace doreldb {

// One condition "<column> LIKE <value>"; a null value selects nothing.
struct LikeFilter {
    size_t column;
    tSqlite3parent value;
};

class TableRows {
public:
    TableRows() = default;
    explicit TableRows(std::vector<Record> rows) : rows_(std::move(rows)) {}

    const std::vector<Record>& all() const { return rows_; }
    std::vector<const Record*> where(std::initializer_list<LikeFilter> filters);
    // The first row the filter selects, or null.
    const Record* first(std::initializer_list<LikeFilter> filters);

private:
    using Index = std::unordered_map<std::string, std::vector<size_t>>;
    Index& indexOn(const std::vector<size_t>& columns);

    std::vector<Record> rows_;
    std::map<std::vector<size_t>, Index> indexes_;   // built on first use
};

// The tables of one walk over the headend: each declared table is read at its
// first use from the database that holds it, and kept for the walk.
class HeadendRows {
public:
    // Either handle may be null: its tables then have no rows.
    HeadendRows(sqlite3* configGlobal, sqlite3* tempGlobal) : configGlobal_(configGlobal), tempGlobal_(tempGlobal) {}

    TableRows& table(const TableDef& definition);

private:
    sqlite3* configGlobal_;
    sqlite3* tempGlobal_;
    std::map<const TableDef*, TableRows> tables_;
};

}  // namespace doreldb
