// What the agent knows of one table: its name, the columns it knows, which of
// them it reads at a fixed position rather than by name (see tables.def), and
// the key column. A record holds its values in this order, whatever order the
// table itself has.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace doreldb {

class TableDef {
public:
    // columnList is a comma-separated list of the known column names in
    // order; "DORELDB_AT(name)" marks a column read at its position.
    TableDef(const char* name, const char* columnList, size_t keyColumn);

    const std::string& name() const { return name_; }
    const std::vector<std::string>& columns() const { return columns_; }
    size_t knownColumns() const { return columns_.size(); }
    size_t keyColumn() const { return key_; }
    const std::string& keyName() const { return columns_[key_]; }
    bool byPosition(size_t column) const { return column < byPosition_.size() && byPosition_[column]; }

private:
    std::string name_;
    std::vector<std::string> columns_;
    std::vector<bool> byPosition_;
    size_t key_;
};

}  // namespace doreldb
