// The command table RCCommand in /dorel/DB/remote_control.sqlite: every command
// received and not yet answered, so that it survives a restart, a scheduled
// command waits for its time and an undelivered result is sent again.
#pragma once

#include "db/access.h"

#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace dorel_remote_control {

class Command;
class Env;

// Writes the command's state. Status 3 deletes its row. Returns false when the
// database cannot be opened or the write failed (and was rolled back).
bool save(Command& command);

// Writes to the store that take effect together or not at all: the commands
// of one reply (one disk sync for all of them, and none is lost half-way), or
// the rows a command adds together with its own finished state (so a restart
// after a kill finds both or neither, and never repeats the rows).
class StoreBatch {
public:
    // Opens the store and begins the transaction; ok() tells whether both worked.
    explicit StoreBatch(Env& env);
    StoreBatch(const StoreBatch&) = delete;
    StoreBatch& operator=(const StoreBatch&) = delete;

    bool ok() const { return ok_; }
    // save() inside the batch. A new row's id is set on the command at once
    // and holds only once commit() succeeded. A failure that cost the whole
    // transaction ends the batch: every later write and the commit fail.
    bool write(Command& command);
    // The row of a command just received, written as save() would write the
    // command made from it (status 0, fresh result) without making it: text
    // is the envelope as received, written from where it lies. Sets id.
    bool writeReceived(std::string_view text, int commandId, int& id);
    // Rolled back when the commit fails, and when the batch goes without one.
    bool commit();

private:
    bool settle(bool written);

    doreldb::DbHandle db_;
    std::unique_ptr<doreldb::Transaction> transaction_;  // after db_: it goes first, rolling back
    bool ok_ = false;
};

// Sets id, nextTime, schedule and status from a stored row, and for status 2
// the stored result (so the same text is sent again).
void load(Command& command, const doreldb::Record& row);

// How far ahead a scheduled command counts as due: one due within the next
// poll pass is waited for and runs at its second instead of up to a minute late.
constexpr long kDueLookAheadSeconds = 70;

// The row with that id (none when it is gone).
std::vector<doreldb::Record> selectId(const doreldb::DbHandle& db, int id);
// The same without its command text, which reads as NULL: readCommandText
// reads that.
std::vector<doreldb::Record> selectIdWithoutText(const doreldb::DbHandle& db, int id);
// The stored command text of the row with that id (up to a NUL byte, as a
// select reads it), read from the database's pages straight into one string:
// a select would have SQLite copy the whole value once more first. Empty when
// there is none.
std::string readCommandText(const doreldb::DbHandle& db, int id);
// Rows whose result waits for delivery (status 2).
std::vector<doreldb::Record> selectFinished(const doreldb::DbHandle& db);
// Rows to run now: status 0, and status 4 due within 70 seconds of now;
// ordered by nextTime, then id.
std::vector<doreldb::Record> selectDue(const doreldb::DbHandle& db, time_t now);

}  // namespace dorel_remote_control
