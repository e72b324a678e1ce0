#include "db/table.h"

namespace doreldb {

TableDef::TableDef(const char* name, const char* columnList, size_t keyColumn) : name_(name), key_(keyColumn) {
    std::string list = columnList;
    size_t start = 0;
    while (start <= list.size()) {
        size_t comma = list.find(',', start);
        if (comma == std::string::npos) comma = list.size();
        std::string column = list.substr(start, comma - start);
        size_t first = column.find_first_not_of(" \t\n");
        size_t last = column.find_last_not_of(" \t\n");
        if (first != std::string::npos) columns_.push_back(column.substr(first, last - first + 1));
        start = comma + 1;
    }
}

size_t TableDef::indexOf(const std::string& column) const {
    for (size_t i = 0; i < columns_.size(); ++i) {
        if (columns_[i] == column) return i;
    }
    return columns_.size();
}

}  // namespace doreldb
