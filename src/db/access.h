// Reading and writing table rows, with the retry rule every statement obeys:
// three attempts, sleeping 1, 2 and 3 seconds after the failures, each failure
// logged with "[ERROR_DB]", the operation and the table's failure text. All SQL
// is built with SQLite's printf and %Q, so every value is quoted and NULL-safe.
#pragma once

#include "db/record.h"

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

namespace doreldb {

struct DbCloser {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
// An open database, closed when the owner goes.
using DbHandle = std::unique_ptr<sqlite3, DbCloser>;

// Opens an existing database through the common library's openDb(); null when
// it cannot be opened.
DbHandle openDatabase(const std::string& path);

// "SELECT * FROM <table> " followed by whereFormat (when given), expanded with
// sqlite3_vmprintf over the remaining const char* arguments. A select that
// fails three times returns an empty list.
std::vector<Record> doSelect(sqlite3* db, const TableDef& table, const char* whereFormat = nullptr, ...);

// The same select for callers that must tell "no rows" from "could not read":
// fills rows and returns the SQLite code of the last attempt (0 on success).
int selectRows(std::vector<Record>& rows, sqlite3* db, const TableDef& table, const char* whereFormat, ...);

// "UPDATE <table> SET" with an item " <column> = %Q " per modified column and
// " WHERE <key> = %Q". The first '%' of each modified text is replaced by a
// blank first. Lowers the flags on success. Returns the SQLite code of the last
// attempt (0 on success, and 0 without a statement when nothing is modified).
int update(sqlite3* db, Record& record);

// "INSERT INTO <table> (<known columns>)  VALUES (%Q, ... %Q )". A record whose
// key is NULL gets the new row id. Returns the SQLite code of the last attempt.
int insert(sqlite3* db, Record& record);

// "DELETE FROM <table> WHERE <key> = %Q" with the record's key.
int deleteId(sqlite3* db, const Record& record);

// "DELETE FROM <table> WHERE " + whereFormat, for the deletes by condition;
// failures are logged under `operation` with "Error eliminando la tabla <table>".
int deleteWhere(sqlite3* db, const TableDef& table, const char* operation, const char* whereFormat, ...);

// Runs a plain statement ("BEGIN TRANSACTION", "COMMIT", "ROLLBACK", "vacuum")
// with up to three tries one second apart, logging "DB exec error (%d try): %s".
// Returns the SQLite code of the last try.
int execStatement(sqlite3* db, const char* sql);

// A transaction that is rolled back unless it was committed, so that no path
// out of a multi-statement change leaves half of it applied.
class Transaction {
public:
    explicit Transaction(sqlite3* db) : db_(db) {}
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    int begin();      // "BEGIN TRANSACTION"
    int commit();     // "COMMIT"; when it fails the destructor still rolls back
    int rollback();   // "ROLLBACK"

private:
    sqlite3* db_;
    bool active_ = false;
};

}  // namespace doreldb
