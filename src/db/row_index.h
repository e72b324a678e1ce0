// The rows of a whole table read once, grouped by one column, so that "the rows
// where <column> LIKE <pattern>" can be answered from memory for every module
// of a pass instead of by one query each. The answers are those SQLite's LIKE
// (without ESCAPE) would give: ASCII letters compare without regard to case,
// '%' and '_' are wildcards, NULL never matches, rows keep the table's order.
#pragma once

#include "db/record.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace doreldb {

// SQLite's LIKE: '%' any run of characters, '_' one character (a whole UTF-8
// sequence), ASCII letters case-insensitive, every other character exact.
bool likeMatches(const std::string& pattern, const std::string& text);

class RowIndex {
public:
    RowIndex() = default;
    RowIndex(std::vector<Record> rows, size_t column);

    // The rows whose column matches `pattern`, in table order.
    std::vector<const Record*> like(const std::string& pattern) const;
    const std::vector<Record>& rows() const { return rows_; }

private:
    std::vector<Record> rows_;
    size_t column_ = 0;
    // Row positions by the column's text with ASCII letters folded to lower case.
    std::unordered_map<std::string, std::vector<size_t>> byFolded_;
};

}  // namespace doreldb
