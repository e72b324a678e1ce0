// "scramblings": the output scrambling of the headend. Whatever an element's
// name says, the rows written are those of the "Quorvex" system: its state in
// ScramblingGlobal and its control words in ScramblingKeysGlobal.
//
//   <scramblings><scrambling><name/><active/><mode/><frequency/><oddKey/>
//       <evenKey/><date/></scrambling>...</scramblings>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "common/headend_codes.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace global = doreldb::ScramblingGlobal;
namespace keys = doreldb::ScramblingKeysGlobal;

const char kSystem[] = "Quorvex";
const char kNoName[] = "scrambling has no name field";
enum Target : size_t { kGlobalRow = 0, kKeysRow = 1 };


// "active" is the system's on/off, kept in the Mode of its ScramblingGlobal
// row (a new row starts off); a mode outside the three words is reported
// with the missing-name text, as the server has always received it.
const ValueRule kScramblingRules[] = {
    rule("name", 0).target(kNoTarget).required(kInvalidCommand, kNoName),
    rule("active", global::Mode).number().range(0, 1).invalid(kInvalidValue, "scrambling/active should be 0/1"),
    rule("mode", keys::Mode).target(kKeysRow).words(kScramblingModeCodes).invalid(kInvalidCommand, kNoName),
    rule("frequency", keys::Frequency).target(kKeysRow),
    rule("oddKey", keys::Odd).target(kKeysRow),
    rule("evenKey", keys::Even).target(kKeysRow),
    rule("date", keys::Date).target(kKeysRow),
};

// The system's row of one table, read once per section: every element of the
// section writes the same row, so the later element wins.
class SystemRow {
public:
    SystemRow(SetConfigContext& context, const doreldb::TableDef& table, const char* where, size_t nameColumn,
              const char* updateFail, const char* insertFail)
        : row_(table), updateFail_(updateFail), insertFail_(insertFail) {
        std::vector<doreldb::Record> rows = doreldb::doSelect(context.db(), table, where, kSystem);
        stored_ = !rows.empty();
        if (stored_) {
            row_ = rows.front();
        } else {
            row_.set(nameColumn, kSystem);
        }
    }

    doreldb::Record& row() { return row_; }
    bool stored() const { return stored_; }

    // Writes what an element changed (a new row in any case), marking the row
    // in stateColumn; false after recording the failure.
    bool write(SetConfigContext& context, size_t stateColumn) {
        if (!row_.anyModified()) return true;
        row_.set(stateColumn, "1");
        if (!stored_) return stored_ = insertRow(context, row_, insertFail_);
        return doreldb::update(context.db(), row_) == SQLITE_OK || context.fail(kCouldNotAccessDatabase, updateFail_);
    }

private:
    doreldb::Record row_;
    bool stored_ = false;
    const char* updateFail_;
    const char* insertFail_;
};

enum class Outcome { kWritten, kRejected, kWriteFailed };

Outcome applyScrambling(SetConfigContext& context, const XmlNode* scrambling, SystemRow& state, SystemRow& words) {
    if (!nameIs(scrambling, "scrambling")) {
        context.fail(kInvalidCommand, "No scrambling element found");
        return Outcome::kRejected;
    }
    WalkOutcome walk;
    if (!applyRules(context, ruleTable(kScramblingRules), scrambling, {&state.row(), &words.row()}, walk)) {
        return Outcome::kRejected;
    }
    const bool stateWritten = state.write(context, global::Estado);
    const bool wordsWritten = words.write(context, keys::Estado);
    return stateWritten && wordsWritten ? Outcome::kWritten : Outcome::kWriteFailed;
}

}  // namespace

// A write failure does not stop the walk: the later elements are still
// written, and the section fails at the end.
bool applyScramblingsSection(SetConfigContext& context, const XmlNode* section) {
    SystemRow state(context, global::table(), " WHERE ScramblingName LIKE %Q ", global::ScramblingName,
                    "Could not update ScramblingG", "Could not insert ScramblingG");
    SystemRow words(context, keys::table(), " WHERE System LIKE %Q ", keys::System, "Could not update ScramblingKG",
                    "Could not insert ScramblingKG");
    // A system without a row starts switched off.
    if (!state.stored()) state.row().set(global::Mode, "0");
    bool written = true;
    for (const XmlNode* scrambling : childElements(section)) {
        const Outcome outcome = applyScrambling(context, scrambling, state, words);
        if (outcome == Outcome::kRejected) return false;
        if (outcome == Outcome::kWriteFailed) written = false;
    }
    if (!written) return false;
    context.addChange(kChangeScrambling);
    return true;
}

}  // namespace dorel_remote_control
