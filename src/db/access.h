// Reading and writing table rows, with the retry rule every statement obeys:
// three attempts, sleeping 1, 2 and 3 seconds after the failures, each failure
// logged with "[ERROR_DB]", the operation and the table's failure text. Selects
// and deletes are built with SQLite's printf and %Q, so every value is quoted
// and NULL-safe; inserts and updates bind their values as parameters instead,
// since SQLite copies a quoted literal several times on its way into the row
// and a value may be a whole command or result of several megabytes.
//
// A select finds the columns of its table by their names in the table as it
// is (see tables.def), so a record holds its values in the agent's order
// whatever order the headend gave its columns; writes name their columns.
#pragma once

#include "db/record.h"

#include <sqlite3.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace dorel_remote_control {
class Env;
}

namespace doreldb {

using dorel_remote_control::Env;

// An open database, closed when the owner goes, and the Env its statements
// wait and log through. It also remembers which tables it has already logged
// a missing column of, so that such a table is named once per connection
// (once per pass for the poll pass's databases).
class DbHandle {
public:
    DbHandle() = default;
    DbHandle(Env& env, sqlite3* handle) : env_(&env), handle_(handle) {}
    ~DbHandle() { reset(); }
    DbHandle(DbHandle&& other) noexcept { *this = std::move(other); }
    DbHandle& operator=(DbHandle&& other) noexcept;
    DbHandle(const DbHandle&) = delete;
    DbHandle& operator=(const DbHandle&) = delete;

    explicit operator bool() const { return handle_ != nullptr; }
    sqlite3* get() const { return handle_; }
    Env& env() const { return *env_; }
    void reset();

    // True the first time a table is named here.
    bool firstNoticeOf(const TableDef& table) const;

private:
    Env* env_ = nullptr;
    sqlite3* handle_ = nullptr;
    mutable std::vector<const TableDef*> noticed_;
};

// Opens an existing database through the common library's openDb(); an empty
// handle when it cannot be opened. A statement that finds the database locked
// by another of the headend's programs waits up to 3 seconds for it.
DbHandle openDatabase(Env& env, const std::string& path);

// For a walk that reads each table once into rows, or a write of large rows:
// SQLite's own cache of their pages would only double what is held, so it is
// kept to a few hundred KiB, enough for a transaction's written pages up to a
// few hundred services.
void keepPageCacheSmall(const DbHandle& db, int kib = 256);

// "SELECT * FROM <table> " followed by whereFormat (when given), expanded with
// sqlite3_vmprintf over the remaining const char* arguments. A select that
// fails three times returns an empty list.
std::vector<Record> doSelect(const DbHandle& db, const TableDef& table, const char* whereFormat = nullptr, ...);

// The same select without the column leftOut, which reads as NULL (a caller
// reads a large value its own way, see command_store.h). A table with columns
// known only by their place is read whole.
std::vector<Record> doSelectWithout(const DbHandle& db, const TableDef& table, size_t leftOut,
                                    const char* whereFormat = nullptr, ...);

// The same select for callers that must tell "no rows" from "could not read":
// fills rows and returns the SQLite code of the last attempt (0 on success).
int selectRows(std::vector<Record>& rows, const DbHandle& db, const TableDef& table, const char* whereFormat, ...);

// The same select of the whole table handing each row to add as it is read,
// so that a store of any kind fills without a list of every row beside it;
// clear drops what a failed attempt handed over. Returns as selectRows.
int selectEach(const DbHandle& db, const TableDef& table, const std::function<void(Record&&)>& add,
               const std::function<void()>& clear);

// A text bound straight from the caller's memory instead of the record's value
// of that column, so that a large one is not copied into a record first.
struct BorrowedText {
    size_t column;
    std::string_view text;
};

// "UPDATE <table> SET" with an item " <column> = ? " per modified column and
// " WHERE <key> = ?". The first '%' of each modified text is replaced by a
// blank first. Lowers the flags on success. Returns the SQLite code of the last
// attempt (0 on success, and 0 without a statement when nothing is modified).
// A borrowed text counts as a modified column.
int update(const DbHandle& db, Record& record, std::initializer_list<BorrowedText> borrowed = {});

// "INSERT INTO <table> (<known columns>)  VALUES (?, ... ? )". A record whose
// key is NULL gets the new row id. Returns the SQLite code of the last attempt.
int insert(const DbHandle& db, Record& record, std::initializer_list<BorrowedText> borrowed = {});

// "DELETE FROM <table> WHERE <key> = %Q" with the record's key.
int deleteId(const DbHandle& db, const Record& record);

// "DELETE FROM <table> WHERE " + whereFormat, for the deletes by condition;
// failures are logged under `operation` with "Error eliminando la tabla <table>".
int deleteWhere(const DbHandle& db, const TableDef& table, const char* operation, const char* whereFormat, ...);

// Runs a plain statement ("BEGIN TRANSACTION", "COMMIT", "ROLLBACK", "vacuum")
// with up to three tries one second apart, logging "DB exec error (%d try): %s".
// Returns the SQLite code of the last try.
int execStatement(const DbHandle& db, const char* sql);

// A transaction that is rolled back unless it was committed, so that no path
// out of a multi-statement change leaves half of it applied.
class Transaction {
public:
    explicit Transaction(const DbHandle& db) : db_(db) {}
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    int begin();      // "BEGIN TRANSACTION"
    int commit();     // "COMMIT"; when it fails the destructor still rolls back
    int rollback();   // "ROLLBACK"

private:
    const DbHandle& db_;
    bool active_ = false;
};

}  // namespace doreldb
