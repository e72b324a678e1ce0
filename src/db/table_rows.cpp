#include "db/table_rows.h"


#include "db/access.h"
#include "db/like.h"
#include "db/tables.h"

#include <algorithm>
#include <cstring>

namespace doreldb {

bool TableRows::rowMatches(size_t row, std::initializer_list<LikeFilter> filters) const {
    for (const LikeFilter& filter : filters) {
        const tSqlite3parent& value = rows_[row].value(filter.column);
        if (value.isNull() || !likeEqual(value.view(), filter.value.text())) return false;
    }
    return true;
}

const TableRows::Index& TableRows::indexOn(std::initializer_list<LikeFilter> filters) {
    for (const Index& index : indexes_) {
        if (index.columns.size() == filters.size() &&
            std::equal(filters.begin(), filters.end(), index.columns.begin(),
                       [](const LikeFilter& filter, size_t column) { return filter.column == column; })) {
            return index;
        }
    }
    Index index;
    for (const LikeFilter& filter : filters) index.columns.push_back(filter.column);
    std::vector<std::pair<uint32_t, size_t>> entries;   // hash, row
    entries.reserve(rows_.size());
    for (size_t r = 0; r < rows_.size(); ++r) {
        uint32_t hash = kLikeHashSeed;
        bool nullColumn = false;
        for (size_t column : index.columns) {
            const tSqlite3parent& value = rows_[r].value(column);
            if (value.isNull()) {
                nullColumn = true;   // NULL LIKE anything is never true
                break;
            }
            hash = likeHash(value.view(), hash);
        }
        if (!nullColumn) entries.emplace_back(hash, r);
    }
    std::sort(entries.begin(), entries.end());
    index.hashes.reserve(entries.size());
    index.rows.reserve(entries.size());
    for (const auto& entry : entries) {
        index.hashes.push_back(entry.first);
        index.rows.push_back(entry.second);
    }
    indexes_.push_back(std::move(index));
    return indexes_.back();
}

RowSelection TableRows::where(std::initializer_list<LikeFilter> filters) {
    bool wildcard = false;
    for (const LikeFilter& filter : filters) {
        if (filter.value.isNull()) return RowSelection();
        wildcard = wildcard || hasLikeWildcard(filter.value.text());
    }
    if (wildcard) {
        // Rare (a value holding '%' or '_'): match every row as LIKE would.
        std::vector<size_t> picked;
        for (size_t r = 0; r < rows_.size(); ++r) {
            bool all = true;
            for (const LikeFilter& filter : filters) {
                const Record& row = rows_[r];
                if (row.isNull(filter.column) ||
                    !likeMatch(filter.value.text(), row.value(filter.column).view())) {
                    all = false;
                    break;
                }
            }
            if (all) picked.push_back(r);
        }
        return RowSelection(rows_.data(), std::move(picked));
    }
    uint32_t hash = kLikeHashSeed;
    for (const LikeFilter& filter : filters) hash = likeHash(filter.value.text(), hash);
    const Index& index = indexOn(filters);
    const auto run = std::equal_range(index.hashes.begin(), index.hashes.end(), hash);
    const size_t* begin = index.rows.data() + (run.first - index.hashes.begin());
    const size_t* end = index.rows.data() + (run.second - index.hashes.begin());
    // Rows whose values only share the hash are left out; they seldom exist,
    // so the run is normally handed out as it is.
    if (std::all_of(begin, end, [&](size_t r) { return rowMatches(r, filters); }))
        return RowSelection(rows_.data(), begin, end);
    std::vector<size_t> picked;
    for (const size_t* r = begin; r != end; ++r) {
        if (rowMatches(*r, filters)) picked.push_back(*r);
    }
    return RowSelection(rows_.data(), std::move(picked));
}

const Record* TableRows::first(std::initializer_list<LikeFilter> filters) {
    const RowSelection selected = where(filters);
    return selected.empty() ? nullptr : selected.front();
}

void TableRows::release(const RowSelection& selected) {
    for (const Record* row : selected) rows_[static_cast<size_t>(row - rows_.data())].release();
}

TableRows& HeadendRows::table(const TableDef& definition) {
    auto found = tables_.find(&definition);
    if (found != tables_.end()) return found->second;
    const DbHandle* db = nullptr;
    for (const TableEntry& entry : allTables()) {
        if (entry.table == &definition) {
            if (std::strcmp(entry.database, "config_global") == 0) db = configGlobal_;
            if (std::strcmp(entry.database, "temp_global") == 0) db = tempGlobal_;
            break;
        }
    }
    std::vector<Record> rows;
    if (db != nullptr && *db) rows = doSelect(*db, definition);
    // The select grew the vector by doubling; the walk keeps it to its end,
    // so the spare room (up to half of it) is given back now.
    rows.shrink_to_fit();
    return tables_.emplace(&definition, TableRows(std::move(rows))).first->second;
}

}  // namespace doreldb
