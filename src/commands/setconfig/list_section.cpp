#include "commands/setconfig/list_section.h"

#include "commands/core/result_codes.h"
#include "common/env.h"
#include "db/access.h"

#include <set>

namespace dorel_remote_control {

namespace {

const doreldb::Record* findByKey(const std::vector<doreldb::Record>& rows, const doreldb::Record& row) {
    if (row.isNull(row.table().keyColumn())) return nullptr;
    for (const doreldb::Record& candidate : rows) {
        if (candidate.key() == row.key()) return &candidate;
    }
    return nullptr;
}

class ListReplacer {
public:
    ListReplacer(SetConfigContext& context, const ListSection& list)
        : context_(context), list_(list), def_(list.table()) {}

    bool run(const XmlNode* section) {
        previous_ = doreldb::doSelect(context_.db(), def_);
        const std::vector<const XmlNode*> items = childElements(section);
        if (list_.checkAllFirst) {
            std::vector<doreldb::Record> rows;
            for (const XmlNode* item : items) {
                rows.emplace_back(def_);
                if (!read(item, rows.back())) return false;
            }
            if (!emptyTable()) return false;
            for (doreldb::Record& row : rows) {
                if (!insert(row)) return false;
            }
            return true;
        }
        if (!emptyTable()) return false;
        for (const XmlNode* item : items) {
            doreldb::Record row(def_);
            if (!read(item, row) || !insert(row)) return false;
        }
        return true;
    }

private:
    bool read(const XmlNode* item, doreldb::Record& row) {
        if (!nameIs(item, list_.item)) return context_.fail(list_.wrongItemCode, list_.wrongItemText);
        if (list_.ownValueColumn != ListSection::kNoColumn) row.set(list_.ownValueColumn, nodeText(item));
        const std::vector<doreldb::Record*> targets{&row};
        WalkOutcome outcome;
        if (!applyRules(context_, list_.rules, item, targets, outcome)) return false;
        if (!row.isNull(def_.keyColumn()) && !keys_.insert(row.key()).second) return repeatedKey(item);
        // The row is written anew: what it holds now is the previous row of
        // its key, against which an empty element for a number is judged.
        const doreldb::Record* previous = findByKey(previous_, row);
        for (size_t i = 0; i < list_.rules.count; ++i) {
            const ValueRule& rule = list_.rules.rules[i];
            if (outcome.leftAlone[i] && !holdsNoValue(previous, rule.column)) return rejectValue(context_, rule, item);
        }
        if (list_.complete != nullptr) list_.complete(row, previous);
        if (list_.logPrefix != nullptr) {
            std::string description = describeRow(list_.rules, targets);
            if (list_.ownValueColumn != ListSection::kNoColumn) description.insert(0, row.text(list_.ownValueColumn));
            context_.env().logAlways(5, "%s%s", list_.logPrefix, description.c_str());
        }
        return true;
    }

    // A key given twice could never be inserted: it is the document's fault,
    // not the database's, and must not be retried as a database failure.
    bool repeatedKey(const XmlNode* item) {
        for (size_t i = 0; i < list_.rules.count; ++i) {
            const ValueRule& rule = list_.rules.rules[i];
            if (rule.column == def_.keyColumn() && rule.target == 0) {
                return context_.fail(kInvalidValue, "Invalid value for " + nodeName(item) + "/" + rule.element);
            }
        }
        return context_.fail(kInvalidValue);
    }

    bool emptyTable() { return dorel_remote_control::emptyTable(context_, def_, list_.deleteFailText); }
    bool insert(doreldb::Record& row) { return insertRow(context_, row, list_.insertFailText); }

    SetConfigContext& context_;
    const ListSection& list_;
    const doreldb::TableDef& def_;
    std::vector<doreldb::Record> previous_;
    std::set<std::string> keys_;
};

}  // namespace

bool replaceTable(SetConfigContext& context, const ListSection& list, const XmlNode* section) {
    return ListReplacer(context, list).run(section);
}

bool emptyTable(SetConfigContext& context, const doreldb::TableDef& table, const char* failText) {
    return doreldb::deleteWhere(context.db(), table, "deleteAll", "1") == SQLITE_OK ||
           context.fail(kCouldNotAccessDatabase, failText);
}

bool insertRow(SetConfigContext& context, doreldb::Record& row, const char* failText) {
    return doreldb::insert(context.db(), row) == SQLITE_OK || context.fail(kCouldNotAccessDatabase, failText);
}

void completeRow(doreldb::Record& row, const doreldb::Record* previous, const char* fallback, size_t stateColumn) {
    const doreldb::TableDef& def = row.table();
    for (size_t column = 0; column < def.knownColumns(); ++column) {
        if (column == def.keyColumn() || !row.isNull(column)) continue;
        if (previous != nullptr) {
            // Kept as it was, a NULL too: the document had nothing for it.
            if (!previous->isNull(column)) row.set(column, previous->value(column));
        } else if (fallback != nullptr) {
            row.set(column, fallback);
        }
    }
    if (stateColumn < def.knownColumns()) row.set(stateColumn, "1");
}

std::string describeRow(const RuleTable& rules, const std::vector<doreldb::Record*>& rows) {
    std::string text;
    for (size_t i = 0; i < rules.count; ++i) {
        const ValueRule& rule = rules.rules[i];
        if (rule.label == nullptr) continue;
        text += rule.label;
        if (rule.target < rows.size() && rows[rule.target] != nullptr) text += rows[rule.target]->text(rule.column);
    }
    return text;
}

}  // namespace dorel_remote_control
