// "scramblings": the output scrambling of the headend. Whatever an element's
// name says, the rows written are those of the "Quorvex" system: its state in
// ScramblingGlobal and its control words in ScramblingKeysGlobal.
//
//   <scramblings><scrambling><name/><active/><mode/><frequency/><oddKey/>
//       <evenKey/><date/></scrambling>...</scramblings>
#include "commands/core/result_codes.h"
#include "commands/setconfig/list_section.h"
#include "commands/setconfig/sections.h"
#include "db/access.h"
#include "db/tables.h"

namespace dorel_remote_control {

namespace {

namespace global = doreldb::ScramblingGlobal;
namespace keys = doreldb::ScramblingKeysGlobal;

const char kSystem[] = "Quorvex";
const char kNoName[] = "scrambling has no name field";
enum Target : size_t { kGlobalRow = 0, kKeysRow = 1 };

const CodeWord kModeWords[] = {{"even", 0}, {"odd", 1}, {"toggle", 2}};

// "active" is the system's on/off, kept in the Mode of its ScramblingGlobal
// row (a new row starts off); a mode outside the three words is reported
// with the missing-name text, as the server has always received it.
const ValueRule kScramblingRules[] = {
    rule("name", 0).target(kNoTarget).required(kInvalidCommand, kNoName),
    rule("active", global::Mode).number().range(0, 1).invalid(kInvalidValue, "scrambling/active should be 0/1"),
    rule("mode", keys::Mode).target(kKeysRow).words(kModeWords).invalid(kInvalidCommand, kNoName),
    rule("frequency", keys::Frequency).target(kKeysRow),
    rule("oddKey", keys::Odd).target(kKeysRow),
    rule("evenKey", keys::Even).target(kKeysRow),
    rule("date", keys::Date).target(kKeysRow),
};

// The system's row of a table, or a new one when it has none.
doreldb::Record systemRow(SetConfigContext& context, const doreldb::TableDef& table, const char* where,
                          size_t nameColumn, bool& found) {
    std::vector<doreldb::Record> rows = doreldb::doSelect(context.db(), table, where, kSystem);
    found = !rows.empty();
    if (found) return rows.front();
    doreldb::Record row(table);
    row.set(nameColumn, kSystem);
    return row;
}

// Writes a row the walk changed (a new row always); false after recording
// the failure.
bool writeRow(SetConfigContext& context, doreldb::Record& row, bool found, const char* updateFail,
              const char* insertFail) {
    if (!found) return insertRow(context, row, insertFail);
    return doreldb::update(context.db(), row) == SQLITE_OK || context.fail(kCouldNotAccessDatabase, updateFail);
}

enum class Outcome { kWritten, kRejected, kWriteFailed };

Outcome applyScrambling(SetConfigContext& context, const XmlNode* scrambling) {
    if (!nameIs(scrambling, "scrambling")) {
        context.fail(kInvalidCommand, "No scrambling element found");
        return Outcome::kRejected;
    }
    bool globalFound = false;
    bool keysFound = false;
    doreldb::Record state = systemRow(context, global::table(), " WHERE ScramblingName LIKE %Q ", global::ScramblingName,
                                      globalFound);
    doreldb::Record words = systemRow(context, keys::table(), " WHERE System LIKE %Q ", keys::System, keysFound);
    if (!globalFound) {
        state.set(global::Mode, "0");
        state.set(global::Estado, "1");
    }
    WalkOutcome walk;
    if (!applyRules(context, ruleTable(kScramblingRules), scrambling, {&state, &words}, walk)) return Outcome::kRejected;

    bool written = true;
    if (state.anyModified()) {
        state.set(global::Estado, "1");
        written = writeRow(context, state, globalFound, "Could not update ScramblingG", "Could not insert ScramblingG");
    }
    if (words.anyModified()) {
        words.set(keys::Estado, "1");
        written = writeRow(context, words, keysFound, "Could not update ScramblingKG", "Could not insert ScramblingKG") &&
                  written;
    }
    return written ? Outcome::kWritten : Outcome::kWriteFailed;
}

}  // namespace

// A write failure does not stop the walk: the later elements are still
// written, and the section fails at the end.
bool applyScramblingsSection(SetConfigContext& context, const XmlNode* section) {
    bool written = true;
    for (const XmlNode* scrambling : childElements(section)) {
        const Outcome outcome = applyScrambling(context, scrambling);
        if (outcome == Outcome::kRejected) return false;
        if (outcome == Outcome::kWriteFailed) written = false;
    }
    if (!written) return false;
    context.addChange(kChangeScrambling);
    return true;
}

}  // namespace dorel_remote_control
