#include "commands/setconfig/value_rules.h"

#include "commands/core/result_codes.h"
#include "common/numbers.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace dorel_remote_control {

namespace {

bool isNumeric(Encoding encoding) {
    return encoding == Encoding::kNumber || encoding == Encoding::kNumberOrWords || encoding == Encoding::kWords;
}

bool decode(const ValueRule& rule, const XmlNode* child, const std::vector<doreldb::Record*>& rows,
            std::string& stored) {
    const std::string text = nodeText(child);
    int32_t number = 0;
    switch (rule.encoding) {
    case Encoding::kText:
        stored = text;
        return true;
    case Encoding::kCustom:
        return rule.decoder != nullptr && rule.decoder(child, stored);
    case Encoding::kNumber:
        if (!parseWholeNumber(text, number)) return false;
        break;
    case Encoding::kWords:
        if (!lookupWord(rule.words, rule.wordCount, text, number)) return false;
        break;
    case Encoding::kNumberOrWords:
        if (!lookupWord(rule.words, rule.wordCount, text, number) && !parseWholeNumber(text, number)) return false;
        break;
    }
    if (isNumeric(rule.encoding)) {
        if (rule.ranged && (number < rule.min || number > rule.max)) return false;
        if (rule.check != nullptr && !rule.check(number, rows)) return false;
    }
    stored = std::to_string(number);
    return true;
}

bool applies(const ValueRule& rule, unsigned selector) { return (rule.appliesTo & selector) != 0; }

const ValueRule* findRule(const RuleTable& table, const XmlNode* child, unsigned selector, size_t& index) {
    for (size_t i = 0; i < table.count; ++i) {
        const ValueRule& rule = table.rules[i];
        if (applies(rule, selector) && nameIs(child, rule.element)) {
            index = i;
            return &rule;
        }
    }
    return nullptr;
}

bool isEmptyElement(const XmlNode* child) { return child->value_size() == 0 && child->first_node() == nullptr; }

}  // namespace

bool holdsNoValue(const doreldb::Record* row, size_t column) {
    return row == nullptr || row->isNull(column) || row->value(column).view().empty();
}

bool rejectValue(SetConfigContext& context, const ValueRule& rule, const XmlNode* element) {
    const int code = rule.invalidCode != 0 ? rule.invalidCode : kInvalidValue;
    if (rule.invalidText != nullptr) return context.fail(code, rule.invalidText);
    return context.fail(code, "Invalid value for " + nodeName(element) + "/" + rule.element);
}

int32_t lenientWholeNumber(const std::string& text) { return atoi32(text.c_str()); }

bool parseWholeNumber(const std::string& text, int32_t& value) {
    if (text.empty()) return false;
    size_t digits = (text[0] == '-' || text[0] == '+') ? 1 : 0;
    if (digits >= text.size()) return false;
    for (size_t i = digits; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    // long long holds every 32-bit value and more on every build, so the
    // range check below is the same on the controller and on amd64.
    errno = 0;
    const long long parsed = std::strtoll(text.c_str(), nullptr, 10);
    if (errno == ERANGE || parsed < INT32_MIN || parsed > INT32_MAX) return false;
    value = static_cast<int32_t>(parsed);
    return true;
}

bool lookupWord(const CodeText* words, size_t count, const std::string& text, int32_t& code) {
    for (size_t i = 0; i < count; ++i) {
        if (strcasecmp(words[i].text, text.c_str()) == 0) {
            code = words[i].code;
            return true;
        }
    }
    return false;
}

std::vector<const XmlNode*> childElements(const XmlNode* parent) {
    std::vector<const XmlNode*> children;
    if (parent == nullptr) return children;
    for (const XmlNode* child = parent->first_node(); child != nullptr; child = child->next_sibling()) {
        if (child->type() == rapidxml::node_element) children.push_back(child);
    }
    return children;
}

bool nameIs(const XmlNode* node, const char* name) {
    // Compared in place: a whole-headend document asks this for every child
    // against every rule, and a copy of the name each time dominated its cost.
    if (node == nullptr || name == nullptr) return false;
    return sameNameNoCase(std::string_view(node->name(), node->name_size()), name);
}

bool decodeValue(const ValueRule& rule, const XmlNode* child, std::string& stored) {
    return decode(rule, child, {}, stored);
}

bool applyRules(SetConfigContext& context, const RuleTable& table, const XmlNode* element,
                const std::vector<doreldb::Record*>& rows, WalkOutcome& outcome, unsigned selector) {
    outcome.met.assign(table.count, false);
    outcome.leftAlone.assign(table.count, false);
    for (const XmlNode* child : childElements(element)) {
        size_t index = 0;
        const ValueRule* rule = findRule(table, child, selector, index);
        if (rule == nullptr) continue;
        outcome.met[index] = true;
        // An empty element for a number is no value: a column that holds none
        // either (getConfiguration wrote its NULL so) is left as it is.
        if (isNumeric(rule->encoding) && isEmptyElement(child) &&
            holdsNoValue(rule->target < rows.size() ? rows[rule->target] : nullptr, rule->column)) {
            outcome.leftAlone[index] = true;
            continue;
        }
        std::string stored;
        if (!decode(*rule, child, rows, stored)) return rejectValue(context, *rule, element);
        if (rule->label != nullptr) outcome.description += rule->label + nodeText(child);
        if (rule->target < rows.size() && rows[rule->target] != nullptr &&
            rows[rule->target]->setIfDifferent(rule->column, stored)) {
            outcome.changed = true;
        }
    }
    for (size_t i = 0; i < table.count; ++i) {
        const ValueRule& rule = table.rules[i];
        if (rule.missingCode != 0 && !outcome.met[i] && applies(rule, selector)) {
            return context.fail(rule.missingCode, rule.missingText ? rule.missingText : "");
        }
    }
    return true;
}

}  // namespace dorel_remote_control
