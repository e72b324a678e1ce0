// Rows of one table kept packed in one block of text. A walk that holds every
// row of the headend's largest table (tens of thousands of PID orders) would
// otherwise pay a record, a list of values and a block per long value for
// each row: several times the values' own bytes. A row is read back as a
// record when it is to change, and its values are read in place to compare.
#pragma once

#include "db/record.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace doreldb {

class PackedRows {
public:
    explicit PackedRows(const TableDef& table) : table_(&table) {}

    size_t size() const { return at_.size(); }
    void clear();
    void push_back(const Record& row);

    // The row as a record of its own, nothing modified.
    Record at(size_t row) const;
    // A value read in place ("" for NULL), valid until the store changes.
    std::string_view text(size_t row, size_t column) const;
    // Puts the record's values in the row's place: where they were when
    // they fit there, else at the end (the old bytes stay unused).
    void replace(size_t row, const Record& record);

private:
    // Appends the packed values: a count, then per value its length + 1
    // (0 for NULL) and its bytes, the numbers as 7-bit groups.
    void pack(const Record& row);

    const TableDef* table_;
    std::string bytes_;
    std::vector<uint32_t> at_;  // where each row starts in bytes_
};

}  // namespace doreldb
