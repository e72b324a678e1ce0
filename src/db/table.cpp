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
        if (first != std::string::npos) {
            column = column.substr(first, last - first + 1);
            static const std::string kMarker = "DORELDB_AT(";
            const bool positional = column.compare(0, kMarker.size(), kMarker) == 0 && column.back() == ')';
            if (positional) column = column.substr(kMarker.size(), column.size() - kMarker.size() - 1);
            columns_.push_back(column);
            byPosition_.push_back(positional);
        }
        start = comma + 1;
    }
}

}  // namespace doreldb
