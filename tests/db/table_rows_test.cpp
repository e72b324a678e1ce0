// Filtering a table read once must select exactly the rows that the filtered
// select would: checked against SQLite's own LIKE on the same rows.
#include "db/access.h"
#include "db/like.h"
#include "db/table_rows.h"
#include "db/tables.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace doreldb;

struct DbCloser {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};

class InMemoryModules {
public:
    InMemoryModules() {
        sqlite3* raw = nullptr;
        sqlite3_open(":memory:", &raw);
        db_.reset(raw);
        exec("CREATE TABLE ModulosCabecera (idModulosCabecera INTEGER PRIMARY KEY, MAC, HostName, Familia, Modelo, "
             "NumeroSerie, Direccion, HWVersion, Estado, Temperatura, Uptime, SWVersion)");
        const char* rows[][2] = {
            {"00:1A:2B:00:00:01", "1"}, {"00:1a:2b:00:00:01", "1"}, {"00:1A:2B:00:00:02", "2"},
            {"00:1A:2B:00:00:0A", "2"}, {"ÄB", "3"},               {"äb", "3"},
            {"50%", "4"},               {"a_b", "4"},               {"", "5"},
        };
        for (const auto& row : rows) {
            exec(std::string("INSERT INTO ModulosCabecera (MAC, Familia) VALUES ('") + row[0] + "', '" + row[1] + "')");
        }
        exec("INSERT INTO ModulosCabecera (MAC, Familia) VALUES (NULL, '6')");
        exec("INSERT INTO ModulosCabecera (MAC, Familia) VALUES (12, 7)");
    }
    void exec(const std::string& sql) {
        ASSERT_EQ(SQLITE_OK, sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, nullptr)) << sql;
    }
    sqlite3* db() { return db_.get(); }

private:
    std::unique_ptr<sqlite3, DbCloser> db_;
};

std::vector<std::string> keys(const std::vector<const Record*>& rows) {
    std::vector<std::string> out;
    for (const Record* row : rows) out.push_back(row->key());
    return out;
}

std::vector<std::string> keys(const std::vector<Record>& rows) {
    std::vector<std::string> out;
    for (const Record& row : rows) out.push_back(row.key());
    return out;
}

TEST(TableRows, SelectsWhatTheFilteredSelectSelects) {
    InMemoryModules headend;
    const TableDef& table = ModulosCabecera::table();
    TableRows rows(doSelect(headend.db(), table));
    const char* patterns[] = {"00:1A:2B:00:00:01", "00:1a:2b:00:00:0a", "00:1A:2B:00:00:0%", "00:1A:2B:00:00:0_",
                              "%", "_", "", "ÄB", "äb", "a_b", "axb", "50%", "5_%", "%1", "12", "%0%0%"};
    for (const char* pattern : patterns) {
        const auto expected =
            keys(doSelect(headend.db(), table, " WHERE MAC LIKE %Q ", pattern));
        EXPECT_EQ(expected, keys(rows.where({{ModulosCabecera::MAC, tSqlite3parent(pattern)}}))) << pattern;
    }
    // Two conditions at once.
    const auto expected = keys(doSelect(headend.db(), table, " WHERE MAC LIKE %Q and Familia LIKE %Q ", "00:1a%", "2"));
    EXPECT_EQ(expected, keys(rows.where({{ModulosCabecera::MAC, tSqlite3parent("00:1a%")},
                                         {ModulosCabecera::Familia, tSqlite3parent("2")}})));
    // NULL never matches, on either side.
    EXPECT_TRUE(rows.where({{ModulosCabecera::MAC, tSqlite3parent()}}).empty());
    EXPECT_EQ(nullptr, rows.first({{ModulosCabecera::Direccion, tSqlite3parent("%")}}));
}

TEST(Like, MatchesAsSqliteDoes) {
    struct Case {
        const char* pattern;
        const char* text;
        bool match;
    } cases[] = {
        {"abc", "ABC", true}, {"a%", "a", true},   {"a%c", "abbbc", true}, {"a_c", "abc", true},
        {"a_c", "ac", false}, {"%_", "", false},   {"_", "é", true},        {"%b%", "abc", true},
        {"ab", "abc", false}, {"", "", true},      {"%%a", "ba", true},     {"É", "é", false},
    };
    for (const Case& c : cases) EXPECT_EQ(c.match, likeMatch(c.pattern, c.text)) << c.pattern << " / " << c.text;
}

}  // namespace
