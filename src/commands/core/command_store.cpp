// Saving commands to RCCommand and reading them back.
#include "commands/core/command_store.h"

#include "commands/core/command.h"
#include "db/tables.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace dorel_remote_control {

namespace col = doreldb::RCCommand;

namespace {

bool deleteRow(const doreldb::DbHandle& db, const Command& command) {
    // A command that was never stored has no row to look for.
    if (command.id() <= 0) return true;
    db.env().log(7, "Deleting command from DB");
    doreldb::Record row(col::table());
    row.setInt(col::id, static_cast<long>(command.id()));
    doreldb::deleteId(db, row);
    return true;
}

// Inserts a new row (the database assigns its id) or, when id is above 0,
// updates every column of that row but the command's text, which never
// changes once stored. The texts are written from where they are, not copied:
// either may be megabytes long.
bool writeRow(const doreldb::DbHandle& db, int& id, int commandId, std::string_view text, std::string_view result,
              int status, long nextTime, const std::string& schedule) {
    db.env().log(7, "Saving command to DB");
    const bool isNew = id < 1;
    doreldb::Record row(col::table());
    if (isNew) {
        row.set(col::id, doreldb::tSqlite3parent());  // NULL: the database assigns it
    } else {
        row.setInt(col::id, static_cast<long>(id));
    }
    row.setInt(col::commandId, static_cast<long>(commandId));
    row.setInt(col::status, static_cast<long>(status));
    row.setInt(col::nextTime, nextTime);
    row.set(col::schedule, schedule);

    const doreldb::BorrowedText command{col::command, text};
    const doreldb::BorrowedText printed{col::result, result};
    const int rc = isNew ? doreldb::insert(db, row, {command, printed}) : doreldb::update(db, row, {printed});
    if (rc != SQLITE_OK) return false;
    if (isNew) id = row.toInt(col::id);
    return true;
}

bool writeRow(const doreldb::DbHandle& db, Command& command) {
    int id = command.id();
    if (!writeRow(db, id, command.commandId(), command.envelopeText(), command.result().print(command.env()),
                  command.status(), command.nextTime(), command.schedule())) {
        return false;
    }
    command.setId(id);
    return true;
}

}  // namespace

bool save(Command& command) {
    StoreBatch batch(command.env());
    return batch.ok() && batch.write(command) && batch.commit();
}

StoreBatch::StoreBatch(Env& env) : db_(doreldb::openDatabase(env, env.paths().remoteControlDb())) {
    if (!db_) return;
    // A command of megabytes is built into one row by SQLite next to the
    // reply it comes from; its pages need not be cached on top of that, and
    // a batch of small commands fits in a few pages.
    doreldb::keepPageCacheSmall(db_, 64);
    transaction_ = std::make_unique<doreldb::Transaction>(db_);
    ok_ = transaction_->begin() == SQLITE_OK;
}

bool StoreBatch::write(Command& command) {
    if (!ok_) return false;
    const bool written =
        command.status() == kStatusDelivered ? deleteRow(db_, command) : writeRow(db_, command);
    return settle(written);
}

bool StoreBatch::writeReceived(std::string_view text, int commandId, int& id) {
    if (!ok_) return false;
    ResultDocument result;
    result.setCommandId(commandId);
    id = 0;
    return settle(writeRow(db_, id, commandId, text, result.print(db_.env()), kStatusReceived, 0, std::string()));
}

bool StoreBatch::settle(bool written) {
    // Some failures (a full disk, an I/O error) roll back the whole
    // transaction: what follows would be written outside it, one sync each,
    // and the rows before are gone anyway.
    if (!written && sqlite3_get_autocommit(db_.get())) ok_ = false;
    return written;
}

bool StoreBatch::commit() {
    if (!ok_) return false;
    ok_ = false;
    return transaction_->commit() == SQLITE_OK;
}

void load(Command& command, const doreldb::Record& row) {
    command.setId(row.toInt(col::id));
    command.setNextTime(row.toInt(col::nextTime));
    command.setSchedule(row.text(col::schedule));
    command.setStatus(row.toInt(col::status));
    if (command.status() == kStatusFinished) command.result().loadPrinted(row.text(col::result));
}

std::vector<doreldb::Record> selectId(const doreldb::DbHandle& db, int id) {
    return doreldb::doSelect(db, col::table(), " WHERE id = %Q ", std::to_string(id).c_str());
}

std::vector<doreldb::Record> selectIdWithoutText(const doreldb::DbHandle& db, int id) {
    return doreldb::doSelectWithout(db, col::table(), col::command, " WHERE id = %Q ", std::to_string(id).c_str());
}

std::string readCommandText(const doreldb::DbHandle& db, int id) {
    // The id is the row id: the database assigns it on insert.
    sqlite3_blob* opened = nullptr;
    const int rc = sqlite3_blob_open(db.get(), "main", col::table().name().c_str(), "command", id, 0, &opened);
    const std::unique_ptr<sqlite3_blob, int (*)(sqlite3_blob*)> blob(opened, sqlite3_blob_close);
    std::string text;
    if (rc != SQLITE_OK) return text;
    text.resize(static_cast<size_t>(sqlite3_blob_bytes(opened)));
    if (sqlite3_blob_read(opened, &text[0], static_cast<int>(text.size()), 0) != SQLITE_OK) text.clear();
    if (const void* nul = memchr(text.data(), 0, text.size())) {
        text.resize(static_cast<size_t>(static_cast<const char*>(nul) - text.data()));
    }
    return text;
}

std::vector<doreldb::Record> selectFinished(const doreldb::DbHandle& db) {
    return doreldb::doSelect(db, col::table(), " WHERE status LIKE %Q ", "2");
}

std::vector<doreldb::Record> selectDue(const doreldb::DbHandle& db, time_t now) {
    // The clause carries no conversions of its own, so it is passed as the
    // whole format text.
    char clause[160];
    snprintf(clause, sizeof clause,
             "WHERE (nextTime <= '%ld' and status = '%d') or status = '%d' ORDER BY nextTime ASC, id ASC",
             static_cast<long>(now) + kDueLookAheadSeconds, static_cast<int>(kStatusScheduled),
             static_cast<int>(kStatusReceived));
    return doreldb::doSelect(db, col::table(), clause);
}

}  // namespace dorel_remote_control
