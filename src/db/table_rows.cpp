#include "db/table_rows.h"

#include "db/access.h"
#include "db/like.h"
#include "db/tables.h"

#include <cstring>

namespace doreldb {

namespace {

// Length-prefixed parts, so that no value can pose as two.
void appendKeyPart(std::string& key, const std::string& lowered) {
    key += std::to_string(lowered.size());
    key += ':';
    key += lowered;
}

}  // namespace

TableRows::Index& TableRows::indexOn(const std::vector<size_t>& columns) {
    auto found = indexes_.find(columns);
    if (found != indexes_.end()) return found->second;
    Index& index = indexes_[columns];
    for (size_t r = 0; r < rows_.size(); ++r) {
        std::string key;
        bool nullColumn = false;
        for (size_t column : columns) {
            const tSqlite3parent& value = rows_[r].value(column);
            if (value.isNull()) {
                nullColumn = true;   // NULL LIKE anything is never true
                break;
            }
            appendKeyPart(key, asciiLower(value.str()));
        }
        if (!nullColumn) index[key].push_back(r);
    }
    return index;
}

std::vector<const Record*> TableRows::where(std::initializer_list<LikeFilter> filters) {
    std::vector<const Record*> selected;
    bool wildcard = false;
    for (const LikeFilter& filter : filters) {
        if (filter.value.isNull()) return selected;
        wildcard = wildcard || hasLikeWildcard(filter.value.str());
    }
    if (wildcard) {
        // Rare (a value holding '%' or '_'): match every row as LIKE would.
        for (const Record& row : rows_) {
            bool all = true;
            for (const LikeFilter& filter : filters) {
                if (row.isNull(filter.column) || !likeMatch(filter.value.str(), row.text(filter.column))) {
                    all = false;
                    break;
                }
            }
            if (all) selected.push_back(&row);
        }
        return selected;
    }
    std::vector<size_t> columns;
    std::string key;
    for (const LikeFilter& filter : filters) {
        columns.push_back(filter.column);
        appendKeyPart(key, asciiLower(filter.value.str()));
    }
    const Index& index = indexOn(columns);
    auto found = index.find(key);
    if (found == index.end()) return selected;
    selected.reserve(found->second.size());
    for (size_t r : found->second) selected.push_back(&rows_[r]);
    return selected;
}

const Record* TableRows::first(std::initializer_list<LikeFilter> filters) {
    std::vector<const Record*> selected = where(filters);
    return selected.empty() ? nullptr : selected.front();
}

TableRows& HeadendRows::table(const TableDef& definition) {
    auto found = tables_.find(&definition);
    if (found != tables_.end()) return found->second;
    sqlite3* db = nullptr;
    for (const TableEntry& entry : allTables()) {
        if (entry.table == &definition) {
            if (std::strcmp(entry.database, "config_global") == 0) db = configGlobal_;
            if (std::strcmp(entry.database, "temp_global") == 0) db = tempGlobal_;
            break;
        }
    }
    std::vector<Record> rows;
    if (db != nullptr) rows = doSelect(db, definition);
    return tables_.emplace(&definition, TableRows(std::move(rows))).first->second;
}

}  // namespace doreldb
