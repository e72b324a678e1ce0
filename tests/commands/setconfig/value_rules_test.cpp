// The value-rule engine every table-writing section uses: decoding, checks,
// compare-then-write and the required elements.
#include "commands/setconfig/value_rules.h"

#include "commands/core/result_codes.h"
#include "db/tables.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace rctest {
namespace {

using namespace dorel_remote_control;
namespace col = doreldb::DiSEqCGlobal;

const CodeText kWidths[] = {{0, "6 MHz"}, {1, "7 MHz"}, {2, "8 MHz"}};
const CodeText kAuto[] = {{-2, "auto"}};

bool evenOnly(int32_t value, const std::vector<doreldb::Record*>&) { return value % 2 == 0; }

TEST(ValueRules, DecodesAndChecksEachEncoding) {
    struct Case {
        ValueRule rule;
        const char* text;
        const char* stored;   // null: rejected
    };
    const Case cases[] = {
        {rule("v", 0).text(), "any text, kept", "any text, kept"},
        {rule("v", 0).number(), "-42", "-42"},
        {rule("v", 0).number(), "+7", "7"},
        {rule("v", 0).number(), "12abc", nullptr},
        {rule("v", 0).number(), " 12", nullptr},
        {rule("v", 0).number(), "", nullptr},
        {rule("v", 0).number(), "-", nullptr},
        {rule("v", 0).number(), "99999999999999999999", nullptr},
        // 32 bits on every build, as on the controller, whose long is 32 bits.
        {rule("v", 0).number(), "2147483647", "2147483647"},
        {rule("v", 0).number(), "-2147483648", "-2147483648"},
        {rule("v", 0).number(), "2147483648", nullptr},
        {rule("v", 0).number(), "4294967296", nullptr},
        {rule("v", 0).number(), "-2147483649", nullptr},
        {rule("v", 0).numberOrWords(kAuto), "4294967294", nullptr},
        {rule("v", 0).lenientNumber(), "12abc", "12"},
        {rule("v", 0).lenientNumber(), "abc", "0"},
        {rule("v", 0).lenientNumber(), " \v+8", "8"},
        {rule("v", 0).lenientNumber(), "4294967297", "2147483647"},
        {rule("v", 0).lenientNumber(), "-4294967297x", "-2147483648"},
        {rule("v", 0).lenientNumber(), "99999999999999999999", "2147483647"},
        {rule("v", 0).number().range(1, 65535), "65535", "65535"},
        {rule("v", 0).number().range(1, 65535), "65536", nullptr},
        {rule("v", 0).number().range(1, 65535), "0", nullptr},
        {rule("v", 0).words(kWidths), "7 mhz", "1"},
        {rule("v", 0).words(kWidths), "7MHz", nullptr},
        {rule("v", 0).numberOrWords(kAuto), "AUTO", "-2"},
        {rule("v", 0).numberOrWords(kAuto), "17", "17"},
        {rule("v", 0).numberOrWords(kAuto), "sometimes", nullptr},
        {rule("v", 0).number().check(&evenOnly), "4", "4"},
        {rule("v", 0).number().check(&evenOnly), "5", nullptr},
    };
    for (const Case& c : cases) {
        XmlDocument doc;
        XmlNode* node = appendElement(doc, nullptr, "v", c.text);
        std::string stored;
        const bool accepted = decodeValue(c.rule, node, stored);
        EXPECT_EQ(c.stored != nullptr, accepted) << "'" << c.text << "'";
        if (c.stored != nullptr && accepted) {
            EXPECT_EQ(c.stored, stored) << "'" << c.text << "'";
        }
    }
}

class RuleWalk : public ::testing::Test {
protected:
    RuleWalk() : context_(nullptr, result_, "KVB-200") {}

    // Parses an element and walks `rules` over it into the stored row.
    bool walk(const RuleTable& rules, const std::string& xml, unsigned selector = ~0u) {
        parsed_ = std::make_unique<ParsedXml>(xml);
        outcome_ = WalkOutcome();
        return applyRules(context_, rules, parsed_->doc().first_node(), {&row_, &other_}, outcome_, selector);
    }

    ResultDocument result_;
    SetConfigContext context_;
    std::unique_ptr<ParsedXml> parsed_;
    WalkOutcome outcome_;
    doreldb::Record row_{col::table()};
    doreldb::Record other_{col::table()};
};

const unsigned kSatellite = 1;
const unsigned kCable = 2;

const ValueRule kRules[] = {
    rule("id", col::idDiSEqCGlobal).number().required(kInvalidCommand, "item has no id field"),
    rule("name", col::Nombre).label(" name: "),
    rule("band", col::Banda).words(kWidths).invalid(kInvalidCommand, "bad band").appliesTo(kSatellite),
    rule("orbit", col::Orbita).target(1).appliesTo(kCable),
    rule("check", 0).target(kNoTarget).number(),
};

TEST_F(RuleWalk, WritesOnlyDifferingValuesAndSaysSo) {
    row_.set(col::Nombre, "same");
    row_.clearModified();
    ASSERT_TRUE(walk(ruleTable(kRules), "<e><ID>3</ID><Name>same</Name><unknown>x</unknown><check>1</check></e>"));
    EXPECT_TRUE(outcome_.changed) << "the id was new";
    EXPECT_TRUE(row_.modified(col::idDiSEqCGlobal));
    EXPECT_FALSE(row_.modified(col::Nombre));
    EXPECT_EQ(" name: same", outcome_.description);

    row_.clearModified();
    ASSERT_TRUE(walk(ruleTable(kRules), "<e><id>3</id><name>same</name></e>"));
    EXPECT_FALSE(outcome_.changed);
    EXPECT_FALSE(row_.anyModified());
}

TEST_F(RuleWalk, TheSelectorPicksRulesAndTargetsPickRows) {
    ASSERT_TRUE(walk(ruleTable(kRules), "<e><id>1</id><band>rubbish</band><orbit>13</orbit></e>", kCable));
    EXPECT_TRUE(row_.isNull(col::Banda)) << "band does not apply to cable";
    EXPECT_EQ("13", other_.text(col::Orbita));
    EXPECT_TRUE(row_.isNull(col::Orbita));

    EXPECT_FALSE(walk(ruleTable(kRules), "<e><id>1</id><band>rubbish</band></e>", kSatellite));
    EXPECT_EQ("bad band", result_.errors().at(kInvalidCommand));
}

TEST_F(RuleWalk, RejectsWithTheRuleTextOrANamedDefault) {
    EXPECT_FALSE(walk(ruleTable(kRules), "<e><name>x</name></e>"));
    EXPECT_EQ("item has no id field", result_.errors().at(kInvalidCommand));
    EXPECT_FALSE(walk(ruleTable(kRules), "<item><id>1</id><check>no</check></item>"));
    EXPECT_EQ("Invalid value for item/check", result_.errors().at(kInvalidValue));
}

}  // namespace
}  // namespace rctest
