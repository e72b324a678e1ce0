// Every declared table goes through the one generic frame: a row inserted,
// selected back by key, updated and deleted in the dev kit's headend, with
// whatever trailing columns the headend's own programs added left alone.
#include "db/access.h"
#include "db/tables.h"
#include "support/fake_clock.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace {

using namespace doreldb;

const std::map<std::string, std::string> kDatabaseFiles = {
    {"config_global", "/dorel/DB/config_global.sqlite"}, {"config_local", "/dorel/DB/config_local.sqlite"},
    {"remote_control", "/dorel/DB/remote_control.sqlite"}, {"quor_global", "/dorel/DB/quor_global.sqlite"},
    {"temp_global", "/tmp/temp_global.sqlite"},
};

TEST(HeadendTables, EveryTableIsReadAndWrittenThroughTheFrame) {
    rctest::HeadendRoot root({"--no-certs"});
    rctest::FakeClock clock;
    for (const TableEntry& entry : allTables()) {
        const TableDef& table = *entry.table;
        SCOPED_TRACE(table.name());
        DbHandle db = openDatabase(root.rooted(kDatabaseFiles.at(entry.database)));
        ASSERT_TRUE(db);

        Record row(table);
        row.set(table.keyColumn(), "9001");
        for (size_t c = 1; c < table.knownColumns(); ++c) row.set(c, "v" + std::to_string(c) + "'%");
        ASSERT_EQ(SQLITE_OK, insert(db.get(), row));

        std::vector<Record> found = doSelect(db.get(), table, " WHERE %s LIKE %Q ", table.keyName().c_str(), "9001");
        ASSERT_EQ(1u, found.size());
        EXPECT_GE(found[0].size(), table.knownColumns());
        for (size_t c = 1; c < table.knownColumns(); ++c) EXPECT_EQ("v" + std::to_string(c) + "'%", found[0].text(c));

        const size_t last = table.knownColumns() - 1;
        found[0].set(last, "changed");
        ASSERT_EQ(SQLITE_OK, update(db.get(), found[0]));
        EXPECT_EQ("changed", doSelect(db.get(), table, " WHERE %s = 9001", table.keyName().c_str())[0].text(last));

        ASSERT_EQ(SQLITE_OK, deleteId(db.get(), found[0]));
        EXPECT_TRUE(doSelect(db.get(), table, " WHERE %s = 9001", table.keyName().c_str()).empty());
    }
}

}  // namespace
