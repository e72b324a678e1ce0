// Filtering a table read once must select exactly the rows that the filtered
// select would: checked against SQLite's own LIKE on the same rows. These are
// the index's own corners (case folding, hashes that collide, NULLs, several
// columns); the matcher at large is better left to a differential fuzzer.
#include "db/like.h"
#include "db/table_rows.h"
#include "db/tables.h"
#include "support/test_env.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace doreldb;
namespace mod = ModulosCabecera;

const Record& record(const Record& row) { return row; }
const Record& record(const Record* row) { return *row; }
template <class Rows>
std::vector<std::string> keys(const Rows& rows) {
    std::vector<std::string> out;
    for (const auto& row : rows) out.push_back(record(row).key());
    return out;
}

TEST(TableRows, SelectsWhatTheFilteredSelectSelects) {
    rctest::TestEnv env("");
    sqlite3* raw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(":memory:", &raw));
    const DbHandle db(env, raw);
    const std::string rows =
        "('00:1A:2B:00:00:01', '1'), ('00:1a:2b:00:00:01', '1'), ('00:1A:2B:00:00:0A', '2'), ('ÄB', '3'), "
        "('äb', '3'), ('Z_b', '4'), ('', '5'), (NULL, '6'), (12, 7), "
        // The first two hash alike (likeHash), the last two are one value in two cases.
        "('00:1a:2b:01:48:6d', '8'), ('00:1A:2B:05:A8:10', '8'), ('00:1a:2b:05:a8:10', '9')";
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(raw,
                                      ("CREATE TABLE ModulosCabecera (idModulosCabecera INTEGER PRIMARY KEY, MAC, "
                                       "Familia, HostName, Direccion, Estado); INSERT INTO ModulosCabecera (MAC, "
                                       "Familia) VALUES " + rows).c_str(),
                                      nullptr, nullptr, nullptr));
    ASSERT_EQ(likeHash("00:1a:2b:01:48:6d"), likeHash("00:1A:2B:05:A8:10"));

    TableRows table(doSelect(db, mod::table()));
    const struct {
        const char* mac;
        const char* family;   // a second condition, or none
    } filters[] = {{"00:1a:2b:00:00:01", nullptr}, {"00:1a:2b:00:00:0a", nullptr}, {"äb", nullptr}, {"12", nullptr},
                   {"", nullptr}, {"00:1a:2b:05:a8:10", nullptr}, {"00:1A:2b:01:48:6D", nullptr}, {"%", nullptr},
                   {"%_", nullptr}, {"_b", nullptr}, {"z_B", nullptr}, {"%1", nullptr}, {"00:1A:2B:00:00:0_", nullptr},
                   {"00:1a%", "1"}, {"00:1a:2b:05:a8:10", "8"}};
    for (const auto& filter : filters) {
        SCOPED_TRACE(std::string(filter.mac) + " / " + (filter.family ? filter.family : "-"));
        if (filter.family == nullptr) {
            EXPECT_EQ(keys(doSelect(db, mod::table(), " WHERE MAC LIKE %Q ", filter.mac)),
                      keys(table.where({{mod::MAC, filter.mac}})));
        } else {
            EXPECT_EQ(keys(doSelect(db, mod::table(), " WHERE MAC LIKE %Q and Familia LIKE %Q ", filter.mac,
                                    filter.family)),
                      keys(table.where({{mod::MAC, filter.mac}, {mod::Familia, filter.family}})));
        }
    }
    EXPECT_TRUE(table.where({{mod::MAC, tSqlite3parent()}}).empty()) << "NULL never matches";

    // Indexes built later on other columns leave an earlier selection intact.
    const RowSelection byFamily = table.where({{mod::Familia, "8"}});
    table.where({{mod::HostName, "x"}});
    table.where({{mod::Direccion, "x"}, {mod::Estado, "y"}});
    EXPECT_EQ((std::vector<std::string>{"10", "11"}), keys(byFamily));
}

}  // namespace
