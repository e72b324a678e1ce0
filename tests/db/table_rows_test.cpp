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
            // Two values whose hashes collide (kColliding), one in two cases.
            {"00:1a:2b:01:61:bf", "8"}, {"00:1A:2B:03:7A:B1", "8"}, {"00:1a:2b:03:7a:b1", "9"},
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
                              "%", "_", "", "ÄB", "äb", "a_b", "axb", "50%", "5_%", "%1", "12", "%0%0%",
                              "00:1A:2B:01:61:BF", "00:1a:2b:03:7a:b1", "00:1a:2b:03:7a:b%"};
    for (const char* pattern : patterns) {
        const auto expected =
            keys(doSelect(headend.db(), table, " WHERE MAC LIKE %Q ", pattern));
        EXPECT_EQ(expected, keys(rows.where({{ModulosCabecera::MAC, tSqlite3parent(pattern)}}))) << pattern;
    }
    // Two conditions at once.
    const auto expected = keys(doSelect(headend.db(), table, " WHERE MAC LIKE %Q and Familia LIKE %Q ", "00:1a%", "2"));
    EXPECT_EQ(expected, keys(rows.where({{ModulosCabecera::MAC, tSqlite3parent("00:1a%")},
                                         {ModulosCabecera::Familia, tSqlite3parent("2")}})));
    const auto expectedCollided =
        keys(doSelect(headend.db(), table, " WHERE MAC LIKE %Q and Familia LIKE %Q ", "00:1a:2b:03:7a:b1", "8"));
    EXPECT_EQ(expectedCollided, keys(rows.where({{ModulosCabecera::MAC, tSqlite3parent("00:1a:2b:03:7a:b1")},
                                                 {ModulosCabecera::Familia, tSqlite3parent("8")}})));
    // NULL never matches, on either side.
    EXPECT_TRUE(rows.where({{ModulosCabecera::MAC, tSqlite3parent()}}).empty());
    EXPECT_EQ(nullptr, rows.first({{ModulosCabecera::Direccion, tSqlite3parent("%")}}));
}

TEST(TableRows, ValuesWhoseHashesCollideStayApart) {
    // Kept colliding on purpose: the rows of one hash must still be told apart.
    EXPECT_EQ(asciiLowerHash("00:1a:2b:01:61:bf"), asciiLowerHash("00:1A:2B:03:7A:B1"));
    InMemoryModules headend;
    TableRows rows(doSelect(headend.db(), ModulosCabecera::table()));
    const RowSelection first = rows.where({{ModulosCabecera::MAC, "00:1A:2b:01:61:bf"}});
    ASSERT_EQ(1u, first.size());
    EXPECT_EQ("00:1a:2b:01:61:bf", first.front()->text(ModulosCabecera::MAC));
    const RowSelection second = rows.where({{ModulosCabecera::MAC, std::string("00:1a:2b:03:7a:b1")}});
    ASSERT_EQ(2u, second.size());
    // Indexes built later on other columns leave earlier selections intact.
    const RowSelection byFamily = rows.where({{ModulosCabecera::Familia, "8"}});
    rows.where({{ModulosCabecera::HostName, "x"}});
    rows.where({{ModulosCabecera::Direccion, "x"}, {ModulosCabecera::Estado, "y"}});
    EXPECT_EQ((std::vector<std::string>{"00:1A:2B:03:7A:B1", "00:1a:2b:03:7a:b1"}),
              (std::vector<std::string>{second[0]->text(ModulosCabecera::MAC), second[1]->text(ModulosCabecera::MAC)}));
    EXPECT_EQ(2u, byFamily.size());
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
