#include "db/record.h"

#include <utility>

namespace doreldb {

namespace {
const tSqlite3parent kNull;
}

Record::Record(const TableDef& table)
    : table_(&table), values_(table.knownColumns()) {}

Record::Record(const TableDef& table, std::vector<tSqlite3parent> values)
    : table_(&table), values_(std::move(values)) {}

const tSqlite3parent& Record::value(size_t column) const {
    return column < values_.size() ? values_[column] : kNull;
}

void Record::set(size_t column, tSqlite3parent value) {
    if (column >= values_.size()) values_.resize(column + 1);
    if (modified_.size() < values_.size()) modified_.resize(values_.size(), 0);
    values_[column] = std::move(value);
    modified_[column] = 1;
}

bool Record::setIfDifferent(size_t column, const std::string& text) {
    if (!isNull(column) && value(column).str() == text) return false;
    set(column, text);
    return true;
}

bool Record::modified(size_t column) const { return column < modified_.size() && modified_[column] != 0; }

bool Record::anyModified() const {
    for (unsigned char flag : modified_) {
        if (flag != 0) return true;
    }
    return false;
}

void Record::clearModified() { modified_.clear(); }

void Record::release() {
    std::vector<tSqlite3parent>().swap(values_);
    std::vector<unsigned char>().swap(modified_);
}

}  // namespace doreldb
