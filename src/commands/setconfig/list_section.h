// The list sections of setConfiguration that replace a whole table: every row
// is deleted and one row per list element is inserted, inside the document's
// transaction (so a failure brings the old rows back). A list section is data:
// its element, its rule table and its error texts.
#pragma once

#include "commands/setconfig/value_rules.h"
#include "db/table.h"

#include <cstddef>

namespace dorel_remote_control {

struct ListSection {
    const doreldb::TableDef& (*table)();
    const char* item;              // the list element, e.g. "diseqc"
    int wrongItemCode;             // a child of another name
    const char* wrongItemText;
    RuleTable rules;               // the item's children (rows[0] is the new row)
    const char* deleteFailText;    // 102
    const char* insertFailText;    // 102
    // Read and check every item before the table is emptied (otherwise each
    // item is checked as it is inserted).
    bool checkAllFirst;
    // "REMOTE_CONTROL::: New ... parameters: ", logged with describeRow() of
    // the rule labels after it; null: not logged.
    const char* logPrefix;
    // Fills what the document does not carry. `previous` is the deleted row
    // with the same key, or null.
    void (*complete)(doreldb::Record& row, const doreldb::Record* previous);
    // A list of plain values (<language>spa</language>): the column that
    // receives the item's own text.
    size_t ownValueColumn = kNoColumn;

    static constexpr size_t kNoColumn = static_cast<size_t>(-1);
};

bool replaceTable(SetConfigContext& context, const ListSection& list, const XmlNode* section);

// The two writes of every list: deleting every row of a table and inserting
// one row (a new row without a key gets the database's). Each fails with 102
// and the given text.
bool emptyTable(SetConfigContext& context, const doreldb::TableDef& table, const char* failText);
bool insertRow(SetConfigContext& context, doreldb::Record& row, const char* failText);

// Sets every column the document does not carry: kept from `previous` when
// there is one, else `fallback`; and `stateColumn` (when below the row size)
// to "1", the mark of a row the headend's programs must pick up.
void completeRow(doreldb::Record& row, const doreldb::Record* previous, const char* fallback, size_t stateColumn);

// "label" + value for every rule with a label, in the table's order, with the
// values the rows hold (the fixed layout of the "New ... parameters" lines).
std::string describeRow(const RuleTable& rules, const std::vector<doreldb::Record*>& rows);

}  // namespace dorel_remote_control
