// What the agent knows of one table: its name, the columns it knows in the
// table's own order, and the key column. The headend's programs own the tables
// and may have added columns after the known ones; rows are therefore read by
// position and never assumed to have exactly the known number of columns.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace doreldb {

class TableDef {
public:
    // columnList is a comma-separated list of the known column names in order.
    TableDef(const char* name, const char* columnList, size_t keyColumn);

    const std::string& name() const { return name_; }
    const std::vector<std::string>& columns() const { return columns_; }
    size_t knownColumns() const { return columns_.size(); }
    size_t keyColumn() const { return key_; }
    const std::string& keyName() const { return columns_[key_]; }
    // Index of a known column, or knownColumns() when there is none.
    size_t indexOf(const std::string& column) const;

private:
    std::string name_;
    std::vector<std::string> columns_;
    size_t key_;
};

}  // namespace doreldb
