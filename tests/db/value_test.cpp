// Column values keep texts of up to 15 bytes in place and longer ones in a
// block of their own: making, copying, moving and replacing one across that
// boundary must keep its text, its terminator and its NULL-ness. (The value's
// text at large is a fuzzing job; these are the boundary and the kinds.)
#include "db/record.h"
#include "db/tables.h"
#include "db/value.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace doreldb;
using Sample = std::optional<std::string>;   // nullopt: SQL NULL

const Sample kSamples[] = {std::nullopt, "", std::string(15, 'a'), std::string(16, 'b'), std::string(300, 'c')};

tSqlite3parent make(const Sample& s) { return s ? tSqlite3parent(*s) : tSqlite3parent(); }

void expectHolds(const tSqlite3parent& value, const Sample& s, const std::string& how) {
    SCOPED_TRACE((s ? std::to_string(s->size()) + " bytes " : std::string("NULL ")) + how);
    EXPECT_EQ(!s, value.isNull());
    EXPECT_EQ(s.value_or(""), value.str());
    EXPECT_STREQ(s ? s->c_str() : nullptr, value.c_str()) << "terminated right after the text";
}

TEST(ColumnValue, KeepsTextAndNullThroughEveryWayOfMakingAndReplacing) {
    for (const Sample& s : kSamples) {
        const tSqlite3parent original = make(s);
        tSqlite3parent copy(original);
        tSqlite3parent moved(std::move(copy));
        expectHolds(moved, s, "copied, then moved");
        // Every value replaced by every other: nothing of the old one may show
        // through (the sanitizer stages see the blocks).
        for (const Sample& other : kSamples) {
            tSqlite3parent target = make(other);
            target = original;
            expectHolds(target, s, "copied over another");
            target = make(other);
            expectHolds(target, other, "moved over another");
            EXPECT_EQ(&s == &other, original == target);
        }
        tSqlite3parent self = make(s);
        const tSqlite3parent& alias = self;
        self = alias;
        expectHolds(self, s, "assigned to itself");
    }
    EXPECT_EQ("-2147483648", tSqlite3int(-2147483647L - 1).str());
    EXPECT_EQ(0, tSqlite3parent().toInt());
}

// Rows read for a walk carry no modified flags; a setter beyond the row's end
// or on a read row must still raise exactly its own flag.
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
