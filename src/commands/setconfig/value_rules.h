// The value rules of the setConfiguration sections that write table rows: a
// section's table says, for every element it knows, which column receives the
// value, how the text is encoded, what it must satisfy and what error it gives
// otherwise. One walker applies such a table to the children of an element,
// checking each value, comparing it with what the row holds and writing only
// a differing one.
//
// A table is plain data, e.g.
//
//   const ValueRule kDiseqcRules[] = {
//       rule("id", DiSEqCGlobal::idDiSEqCGlobal).required(kInvalidCommand, "diseqc has no id field"),
//       rule("polarity", DiSEqCGlobal::Polaridad).words(kPolarityCodes)
//           .invalid(kInvalidCommand, "Invalid value for diseqc/polarity"),
//   };
//
// Element names are compared ignoring ASCII case; the first matching row wins;
// children without a row are skipped silently.
#pragma once

#include "commands/setconfig/section_context.h"
#include "common/code_table.h"
#include "db/record.h"

#include <cstddef>
#include <cstdint>

#include <string>
#include <vector>

namespace dorel_remote_control {


// How the received text becomes the stored text.
enum class Encoding {
    kText,          // stored as received ("" for an empty element)
    kNumber,        // a whole number (optionally signed), stored in decimal
    kWords,         // one of the words (ASCII case ignored), stored as its code
    kNumberOrWords, // a whole number, or one of the words ("auto" = -2)
    kCustom,        // the row's own decoder
};

// The target of a rule that only checks its element and writes nothing.
constexpr size_t kNoTarget = static_cast<size_t>(-1);

// A decoder for Encoding::kCustom: reads the child element (it may look at
// the child's own children) and gives the text to store. Returns false for a
// value the rule rejects.
using CustomDecoder = bool (*)(const XmlNode* child, std::string& stored);

// An extra check on a decoded number, given the rows filled so far (for rules
// that depend on values met earlier in the same element). Returns false to
// reject the value with the rule's error.
using NumberCheck = bool (*)(int32_t value, const std::vector<doreldb::Record*>& rows);

struct ValueRule {
    const char* element;          // element name
    size_t column;                // column position in the target row
    Encoding encoding = Encoding::kText;
    const CodeText* words = nullptr;   // for kWords / kNumberOrWords: code and word
    size_t wordCount = 0;
    bool ranged = false;          // numbers only: min <= value <= max
    int32_t min = 0;
    int32_t max = 0;
    NumberCheck check = nullptr;  // numbers only
    CustomDecoder decoder = nullptr;
    int invalidCode = 0;          // code and text for a rejected value (by default
    const char* invalidText = nullptr;  // 103 "Invalid value for <parent>/<element>")
    int missingCode = 0;          // non-zero: the element is required
    const char* missingText = nullptr;
    const char* label = nullptr;  // description label, e.g. " lcn:" (none: not described)
    size_t target = 0;            // which of the walker's rows receives the value
    unsigned appliesTo = ~0u;     // the walker's selector must share a bit
};

// A rule table as the walker takes it.
struct RuleTable {
    const ValueRule* rules;
    size_t count;
};

template <size_t N>
constexpr RuleTable ruleTable(const ValueRule (&rules)[N]) {
    return RuleTable{rules, N};
}

// A builder that keeps the tables readable: each row reads as one line, e.g.
//   rule("lcn", Service_EPG::LCN).number().range(1, 65535).invalid(103, "...")
struct RuleBuilder {
    ValueRule rule;
    constexpr RuleBuilder(const char* element, size_t column) : rule{} {
        rule.element = element;
        rule.column = column;
    }
    constexpr RuleBuilder& text() { rule.encoding = Encoding::kText; return *this; }
    constexpr RuleBuilder& number() { rule.encoding = Encoding::kNumber; return *this; }
    template <size_t N>
    constexpr RuleBuilder& words(const CodeText (&table)[N]) {
        rule.encoding = Encoding::kWords;
        rule.words = table;
        rule.wordCount = N;
        return *this;
    }
    template <size_t N>
    constexpr RuleBuilder& numberOrWords(const CodeText (&table)[N]) {
        words(table);
        rule.encoding = Encoding::kNumberOrWords;
        return *this;
    }
    constexpr RuleBuilder& custom(CustomDecoder decoder) {
        rule.encoding = Encoding::kCustom;
        rule.decoder = decoder;
        return *this;
    }
    constexpr RuleBuilder& range(int32_t min, int32_t max) {
        rule.ranged = true;
        rule.min = min;
        rule.max = max;
        return *this;
    }
    constexpr RuleBuilder& check(NumberCheck fn) { rule.check = fn; return *this; }
    constexpr RuleBuilder& invalid(int code, const char* text) {
        rule.invalidCode = code;
        rule.invalidText = text;
        return *this;
    }
    constexpr RuleBuilder& required(int code, const char* text) {
        rule.missingCode = code;
        rule.missingText = text;
        return *this;
    }
    constexpr RuleBuilder& label(const char* text) { rule.label = text; return *this; }
    constexpr RuleBuilder& target(size_t index) { rule.target = index; return *this; }
    constexpr RuleBuilder& appliesTo(unsigned selector) { rule.appliesTo = selector; return *this; }
    constexpr operator ValueRule() const { return rule; }
};

constexpr RuleBuilder rule(const char* element, size_t column) { return RuleBuilder(element, column); }

// What one walk did.
struct WalkOutcome {
    bool changed = false;          // some row received a differing value
    std::string description;       // label + received text of every described value met
    std::vector<bool> met;         // per rule: the element was present
    std::vector<bool> leftAlone;   // per rule: an empty element for a number the row does not hold
};

// Whether a row's column holds no value (NULL or empty text; no row at all).
bool holdsNoValue(const doreldb::Record* row, size_t column);

// Fails with the rule's invalid-value code and text; a rule without its own
// text names the value: "Invalid value for diseqc/id".
bool rejectValue(SetConfigContext& context, const ValueRule& rule, const XmlNode* element);

// Applies the children of `element` to `rows` (rule.target indexes it). For
// each child element in document order: find its rule (skipping rules whose
// appliesTo shares no bit with `selector`), decode and check the value, and
// set the column when the value differs from the row's. The first rejected
// value fails through context.fail() with the rule's code and text. After the
// walk a required rule that met no element fails with its missing text.
// Returns true when every value was accepted.
bool applyRules(SetConfigContext& context, const RuleTable& table, const XmlNode* element,
                const std::vector<doreldb::Record*>& rows, WalkOutcome& outcome, unsigned selector = ~0u);

// The value one rule stores for a received text, without touching any row:
// false when the rule rejects it. Shared by the walker and by sections that
// read a value before they know its row.
bool decodeValue(const ValueRule& rule, const XmlNode* child, std::string& stored);

// Reads a whole number: optional sign, digits, nothing else (no blanks, no
// trailing text), within 32 bits (the controller's long) on every build. The
// strict reading every checked number of a server document gets.
bool parseWholeNumber(const std::string& text, int32_t& value);

// Reads a number as the controller's atoi() does, as the headend's programs
// read stored values: leading blanks, a sign, the digits that follow ("12abc"
// is 12, "abc" is 0), saturated at the 32-bit limits.
int32_t lenientWholeNumber(const std::string& text);

// The code of a word in a table (ASCII case ignored); false when absent.
bool lookupWord(const CodeText* words, size_t count, const std::string& text, int32_t& code);

// The element children of a node (data and other nodes skipped).
std::vector<const XmlNode*> childElements(const XmlNode* parent);

// Element name compared ignoring ASCII case.
bool nameIs(const XmlNode* node, const char* name);

}  // namespace dorel_remote_control
