// A record's modified flags: what an UPDATE writes. (Column values
// themselves are fuzz/fuzz_value.cpp's, whose seeds run as tests.)
#include "db/record.h"
#include "db/tables.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace doreldb;

TEST(RecordFlags, SettersRaiseOnlyTheirOwnFlag) {
    Record read(ModulosCabecera::table(), std::vector<tSqlite3parent>(3));
    read.set(1, "x");
    read.set(7, "beyond the row");
    for (size_t c = 0; c < 10; ++c) EXPECT_EQ(c == 1 || c == 7, read.modified(c)) << c;
    EXPECT_TRUE(read.anyModified());
    read.clearModified();
    EXPECT_FALSE(read.anyModified());
    EXPECT_EQ("beyond the row", read.text(7));
    EXPECT_FALSE(read.setIfDifferent(7, "beyond the row"));
    EXPECT_TRUE(read.setIfDifferent(0, "")) << "NULL to empty is a change";
    EXPECT_TRUE(read.modified(0) && !read.modified(7));
}

}  // namespace
