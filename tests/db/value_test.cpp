// Column values keep short texts in place and long ones in a block of their
// own; every way a value is made, copied, moved and replaced must keep its
// text, its terminator and its NULL-ness, on both sides of that boundary.
#include "db/record.h"
#include "db/tables.h"
#include "db/value.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using namespace doreldb;

// Texts around the longest one kept in place (15 bytes), and a NULL.
struct Sample {
    const char* label;
    bool null;
    std::string text;
};

std::vector<Sample> samples() {
    return {{"null", true, ""},
            {"empty", false, ""},
            {"one", false, "7"},
            {"fourteen", false, std::string(14, 'a')},
            {"fifteen", false, "192.168.100.200"},
            {"sixteen", false, "00:1a:2b:03:7a:b1"},
            {"long", false, std::string(300, 'x') + "end"}};
}

tSqlite3parent make(const Sample& s) { return s.null ? tSqlite3parent() : tSqlite3parent(s.text); }

void expectHolds(const tSqlite3parent& value, const Sample& s, const std::string& how) {
    SCOPED_TRACE(std::string(s.label) + " " + how);
    EXPECT_EQ(s.null, value.isNull());
    EXPECT_EQ(s.text, value.str());
    EXPECT_EQ(s.text, std::string(value.view()));
    if (s.null) {
        EXPECT_EQ(nullptr, value.c_str());
    } else {
        ASSERT_NE(nullptr, value.c_str());
        EXPECT_EQ(s.text, std::string(value.c_str())) << "terminated right after the text";
    }
}

TEST(ColumnValue, KeepsTextAndNullThroughEveryWayOfMakingAndMoving) {
    for (const Sample& s : samples()) {
        expectHolds(make(s), s, "made from std::string");
        expectHolds(s.null ? tSqlite3parent(static_cast<const char*>(nullptr)) : tSqlite3parent(s.text.c_str()), s,
                    "made from char*");
        const std::string padded = s.text + "tail";
        if (!s.null) expectHolds(tSqlite3parent(padded.data(), s.text.size()), s, "made from a length");

        const tSqlite3parent original = make(s);
        tSqlite3parent copy(original);
        expectHolds(copy, s, "copied");
        expectHolds(original, s, "source of a copy");
        tSqlite3parent moved(std::move(copy));
        expectHolds(moved, s, "moved");

        // Every value replaced by every other, by copy and by move: no text
        // of the old value may show through (valgrind/ASan see the blocks).
        for (const Sample& other : samples()) {
            tSqlite3parent target = make(other);
            target = original;
            expectHolds(target, s, std::string("copied over ") + other.label);
            tSqlite3parent source = make(other);
            target = std::move(source);
            expectHolds(target, other, std::string("moved over ") + s.label);
            EXPECT_EQ(other.null ? tSqlite3parent() : tSqlite3parent(other.text), target);
            EXPECT_EQ(s.null == other.null && s.text == other.text, original == target) << s.label << other.label;
        }
        tSqlite3parent self = make(s);
        const tSqlite3parent& alias = self;
        self = alias;
        expectHolds(self, s, "assigned to itself");
    }
}

TEST(ColumnValue, NullDiffersFromEmptyAndNumbersReadAsAtoi) {
    EXPECT_NE(tSqlite3parent(), tSqlite3parent(""));
    EXPECT_EQ(0, tSqlite3parent().toInt());
    EXPECT_EQ(-42, tSqlite3parent("-42abc").toInt());
    EXPECT_EQ(123456789, tSqlite3parent(std::string(20, ' ') + "123456789").toInt()) << "a long text";
    EXPECT_EQ("-2147483648", tSqlite3int(-2147483647L - 1).str());
}

// Rows read for a walk carry no modified flags; a setter beyond the row's end
// or on a read row must still raise exactly its own flag.
TEST(RecordFlags, SettersRaiseOnlyTheirOwnFlag) {
    const TableDef& table = ModulosCabecera::table();
    Record read(table, std::vector<tSqlite3parent>(3));
    EXPECT_FALSE(read.anyModified());
    for (size_t c = 0; c < 20; ++c) EXPECT_FALSE(read.modified(c));

    read.set(1, "x");
    read.set(7, "beyond the row");
    EXPECT_EQ(8u, read.size());
    for (size_t c = 0; c < 10; ++c) EXPECT_EQ(c == 1 || c == 7, read.modified(c)) << c;
    EXPECT_TRUE(read.anyModified());
    read.clearModified();
    EXPECT_FALSE(read.anyModified());
    EXPECT_FALSE(read.modified(7));
    EXPECT_EQ("beyond the row", read.text(7));

    EXPECT_FALSE(read.setIfDifferent(7, "beyond the row"));
    EXPECT_FALSE(read.modified(7));
    EXPECT_TRUE(read.setIfDifferent(0, ""));
    EXPECT_TRUE(read.modified(0)) << "NULL to empty is a change";
    EXPECT_FALSE(read.modified(1));
}

}  // namespace
