#include "db/record.h"

#include <utility>

namespace doreldb {

namespace {
const tSqlite3parent kNull;
}

Record::Record(const TableDef& table)
    : table_(&table), values_(table.knownColumns()), modified_(table.knownColumns(), false) {}

Record::Record(const TableDef& table, std::vector<tSqlite3parent> values)
    : table_(&table), values_(std::move(values)), modified_(values_.size(), false) {}

const tSqlite3parent& Record::value(size_t column) const {
    return column < values_.size() ? values_[column] : kNull;
}

void Record::set(size_t column, tSqlite3parent value) {
    if (column >= values_.size()) {
        values_.resize(column + 1);
        modified_.resize(column + 1, false);
    }
    values_[column] = std::move(value);
    modified_[column] = true;
}

bool Record::setIfDifferent(size_t column, const std::string& text) {
    if (!isNull(column) && value(column).str() == text) return false;
    set(column, text);
    return true;
}

bool Record::modified(size_t column) const { return column < modified_.size() && modified_[column]; }

bool Record::anyModified() const {
    for (bool flag : modified_) {
        if (flag) return true;
    }
    return false;
}

void Record::clearModified() { modified_.assign(modified_.size(), false); }

}  // namespace doreldb
