// One row of a table: its values by position, with a modified flag per value
// that the setters raise and a successful update lowers. The flags take no
// memory until a setter runs: whole-headend walks hold every row of large
// tables and never modify one.
#pragma once

#include "db/table.h"
#include "db/value.h"

#include <string>
#include <vector>

namespace doreldb {

class Record {
public:
    // A new row: every known column NULL.
    explicit Record(const TableDef& table);
    // A row as the select read it, every column of the table's actual rows.
    Record(const TableDef& table, std::vector<tSqlite3parent> values);

    const TableDef& table() const { return *table_; }
    size_t size() const { return values_.size(); }

    // A column beyond the row's end reads as NULL.
    const tSqlite3parent& value(size_t column) const;
    std::string text(size_t column) const { return value(column).str(); }
    int toInt(size_t column) const { return value(column).toInt(); }
    bool isNull(size_t column) const { return value(column).isNull(); }
    std::string key() const { return text(table_->keyColumn()); }

    // Setters raise the column's modified flag (growing the row if needed).
    void set(size_t column, tSqlite3parent value);
    void set(size_t column, const std::string& text) { set(column, tSqlite3parent(text)); }
    void set(size_t column, const char* text) { set(column, tSqlite3parent(text)); }
    void setInt(size_t column, long value) { set(column, tSqlite3int(value)); }
    // Sets and raises the flag only when the value differs; returns whether it did.
    bool setIfDifferent(size_t column, const std::string& text);

    bool modified(size_t column) const;
    bool anyModified() const;
    void clearModified();
    // Lets go of every value, for a walk that has written the row and will
    // not read it again; the row then reads as all NULL.
    void release();

private:
    const TableDef* table_;
    std::vector<tSqlite3parent> values_;
    std::vector<unsigned char> modified_;   // empty: nothing modified
};

}  // namespace doreldb
