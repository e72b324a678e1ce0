// Every declared table goes through the one generic frame: a row inserted,
// selected back by key, updated and deleted in the dev kit's headend, with
// whatever columns the headend's own programs added left alone.
#include "db/access.h"
#include "db/tables.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace doreldb;

TEST(HeadendTables, EveryTableIsReadAndWrittenThroughTheFrame) {
    rctest::HeadendRoot root({"--no-certs"});
    for (const TableEntry& entry : allTables()) {
        const TableDef& table = *entry.table;
        SCOPED_TRACE(table.name());
        const std::string database = entry.database;
        DbHandle db = openDatabase(root.env(), root.rooted((database == "temp_global" ? "/tmp/" : "/dorel/DB/") +
                                                           database + ".sqlite"));
        ASSERT_TRUE(db);

        Record row(table);
        row.set(table.keyColumn(), "9001");
        for (size_t c = 1; c < table.knownColumns(); ++c) row.set(c, "v" + std::to_string(c) + "'%");
        ASSERT_EQ(SQLITE_OK, insert(db, row));

        std::vector<Record> found = doSelect(db, table, " WHERE %s LIKE %Q ", table.keyName().c_str(), "9001");
        ASSERT_EQ(1u, found.size());
        for (size_t c = 1; c < table.knownColumns(); ++c) EXPECT_EQ("v" + std::to_string(c) + "'%", found[0].text(c));

        const size_t last = table.knownColumns() - 1;
        found[0].set(last, "changed");
        ASSERT_EQ(SQLITE_OK, update(db, found[0]));
        EXPECT_EQ("changed", doSelect(db, table, " WHERE %s = 9001", table.keyName().c_str())[0].text(last));

        ASSERT_EQ(SQLITE_OK, deleteId(db, found[0]));
        EXPECT_TRUE(doSelect(db, table, " WHERE %s = 9001", table.keyName().c_str()).empty());
    }
    EXPECT_FALSE(root.env().contains("has no column")) << root.env().dump();
}

}  // namespace
