#include "db/access.h"

#include "common/dorelcommon.h"
#include "common/env.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <strings.h>

namespace doreldb {

namespace {

const int kAttempts = 3;
const size_t kAllColumns = static_cast<size_t>(-1);

// Text from sqlite3_mprintf(), freed with sqlite3_free().
struct SqlFree {
    void operator()(char* text) const { sqlite3_free(text); }
};
using SqlText = std::unique_ptr<char, SqlFree>;

SqlText checked(char* text) {
    if (text == nullptr) throw std::bad_alloc();
    return SqlText(text);
}

SqlText vformat(const std::string& format, va_list args) {
    return checked(sqlite3_vmprintf(format.c_str(), args));
}

std::string quoted(const char* value) { return checked(sqlite3_mprintf("%Q", value)).get(); }

// A prepared statement, finalized on every path.
struct StatementFinalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalize>;

// A value bound to a statement: text null for SQL NULL, size -1 up to the
// text's NUL (as %Q would take it).
struct Bound {
    const char* text;
    int size;
};

// Runs one statement attempt after attempt. `attempt` returns the SQLite code
// and hands over SQLite's error message (may be null); failureText gives the
// table's text for a failed attempt with that code.
int withRetry(const DbHandle& db, const char* operation, const std::function<int(char** error)>& attempt,
              const std::function<std::string(int rc)>& failureText) {
    int rc = SQLITE_ERROR;
    for (int n = 0; n < kAttempts; ++n) {
        char* error = nullptr;
        rc = attempt(&error);
        if (rc == SQLITE_OK) {
            sqlite3_free(error);
            break;
        }
        db.env().log(3, "[ERROR_DB]%s: %s%d", operation, failureText(rc).c_str(), n);
        if (error != nullptr) {
            db.env().log(3, "[ERROR_DB]%s: %s", operation, error);
            perror(error);
            sqlite3_free(error);
        }
        db.env().sleepSeconds(static_cast<unsigned>(n + 1));
    }
    return rc;
}

int execute(const DbHandle& db, const char* operation, const char* sql,
            const std::function<std::string(int)>& failureText) {
    return withRetry(
        db, operation, [&](char** error) { return sqlite3_exec(db.get(), sql, nullptr, nullptr, error); },
        failureText);
}

// One attempt at a statement with its values bound (not copied: they live
// through the call), with SQLite's code and message as sqlite3_exec() gives them.
int runBound(const DbHandle& db, const std::string& sql, const std::vector<Bound>& values, char** error) {
    sqlite3_stmt* prepared = nullptr;
    int rc = sqlite3_prepare_v2(db.get(), sql.c_str(), static_cast<int>(sql.size()), &prepared, nullptr);
    const Statement statement(prepared);
    for (size_t i = 0; rc == SQLITE_OK && i < values.size(); ++i) {
        const int at = static_cast<int>(i) + 1;
        rc = values[i].text == nullptr ? sqlite3_bind_null(prepared, at)
                                       : sqlite3_bind_text(prepared, at, values[i].text, values[i].size, SQLITE_STATIC);
    }
    if (rc == SQLITE_OK) {
        rc = sqlite3_step(prepared);
        if (rc == SQLITE_DONE || rc == SQLITE_ROW) rc = SQLITE_OK;
    }
    if (rc != SQLITE_OK) *error = sqlite3_mprintf("%s", sqlite3_errmsg(db.get()));
    return rc;
}

int executeBound(const DbHandle& db, const char* operation, const std::string& sql, const std::vector<Bound>& values,
                 const std::function<std::string(int)>& failureText) {
    return withRetry(
        db, operation, [&](char** error) { return runBound(db, sql, values, error); }, failureText);
}

Bound boundValue(const tSqlite3parent& value) { return Bound{value.c_str(), -1}; }
Bound lentBound(const BorrowedText& lent) { return Bound{lent.text.data(), static_cast<int>(lent.text.size())}; }

// Long enough for another program's short write to finish, short enough that
// the statement's own retries (1, 2, 3 seconds) stay meaningful.
const unsigned kBusyTimeoutMs = 3000;
const unsigned kBusyStepMs = 50;

// A wait like every other wait of the agent: through its Env.
int waitWhileBusy(void* env, int attempts) {
    if (static_cast<unsigned>(attempts) * kBusyStepMs >= kBusyTimeoutMs) return 0;
    static_cast<Env*>(env)->sleepMillis(kBusyStepMs);
    return 1;
}

}  // namespace

DbHandle& DbHandle::operator=(DbHandle&& other) noexcept {
    if (this != &other) {
        reset();
        env_ = other.env_;
        handle_ = other.handle_;
        noticed_ = std::move(other.noticed_);
        other.handle_ = nullptr;
    }
    return *this;
}

void DbHandle::reset() {
    if (handle_ != nullptr) sqlite3_close(handle_);
    handle_ = nullptr;
    noticed_.clear();
}

bool DbHandle::firstNoticeOf(const TableDef& table) const {
    for (const TableDef* noticed : noticed_) {
        if (noticed == &table) return false;
    }
    noticed_.push_back(&table);
    return true;
}

DbHandle openDatabase(Env& env, const std::string& path) {
    sqlite3* db = openDb(path.c_str());
    if (db != nullptr) sqlite3_busy_handler(db, waitWhileBusy, &env);
    return DbHandle(env, db);
}

namespace {

// The column's text up to its first NUL byte, as sqlite3_get_table copied it;
// false when SQLite ran out of memory converting it. NULL stays NULL.
bool readValue(sqlite3_stmt* statement, int column, tSqlite3parent& value) {
    const char* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    if (text == nullptr) return sqlite3_column_type(statement, column) == SQLITE_NULL;
    size_t length = static_cast<size_t>(sqlite3_column_bytes(statement, column));
    if (const void* nul = memchr(text, 0, length)) length = static_cast<size_t>(static_cast<const char*>(nul) - text);
    value = tSqlite3parent(text, length);
    return true;
}

// Where each known column of the table is in the select's result: at its
// own place when the headend defines it by position, else wherever the table
// has a column of its name; when it has none, at its own place after all (or
// nowhere, past the row's end), which is logged once per table and
// connection. -1 means the column reads as NULL.
std::vector<int> columnPlaces(const DbHandle& db, sqlite3_stmt* statement, const TableDef& table,
                              size_t leftOut = kAllColumns) {
    const int count = sqlite3_column_count(statement);
    std::vector<int> places(table.knownColumns(), -1);
    std::string missing;
    for (size_t known = 0; known < places.size(); ++known) {
        if (known == leftOut) continue;
        const int own = static_cast<int>(known);
        if (!table.byPosition(known)) {
            for (int i = 0; i < count && places[known] < 0; ++i) {
                const char* name = sqlite3_column_name(statement, i);
                if (name != nullptr && strcasecmp(name, table.columns()[known].c_str()) == 0) places[known] = i;
            }
            if (places[known] >= 0) continue;
            missing += (missing.empty() ? "" : ", ") + table.columns()[known];
        }
        if (own < count) places[known] = own;
    }
    if (!missing.empty() && db.firstNoticeOf(table)) {
        db.env().log(4, "Table %s has no column %s: read by its place in the agent's layout instead",
                     table.name().c_str(), missing.c_str());
    }
    return places;
}

// One attempt at a select: every row handed to add, or none with SQLite's
// code and message as sqlite3_exec() gives them (clear drops what an attempt
// that failed half-way handed over). Rows are stepped straight into the
// records, so each value is copied once.
int readRows(const std::function<void(Record&&)>& add, const std::function<void()>& clear, const DbHandle& db,
             const TableDef& table, const char* sql, char** error, size_t leftOut = kAllColumns) {
    clear();
    sqlite3_stmt* prepared = nullptr;
    int rc = sqlite3_prepare_v2(db.get(), sql, -1, &prepared, nullptr);
    Statement statement(prepared);
    if (rc == SQLITE_OK && statement) {
        const std::vector<int> places = columnPlaces(db, prepared, table, leftOut);
        while ((rc = sqlite3_step(prepared)) == SQLITE_ROW) {
            std::vector<tSqlite3parent> values(places.size());
            for (size_t i = 0; i < places.size() && rc == SQLITE_ROW; ++i) {
                if (places[i] >= 0 && !readValue(prepared, places[i], values[i])) rc = SQLITE_NOMEM;
            }
            if (rc != SQLITE_ROW) break;
            add(Record(table, std::move(values)));
        }
        if (rc == SQLITE_DONE) {
            rc = SQLITE_OK;
        } else if (rc != SQLITE_NOMEM) {
            rc = sqlite3_finalize(statement.release());
        }
    }
    if (rc != SQLITE_OK) {
        clear();
        *error = sqlite3_mprintf("%s", rc == SQLITE_NOMEM ? sqlite3_errstr(rc) : sqlite3_errmsg(db.get()));
    }
    return rc;
}

int selectWithRetry(const DbHandle& db, const TableDef& table, const char* sql,
                    const std::function<void(Record&&)>& add, const std::function<void()>& clear,
                    size_t leftOut = kAllColumns) {
    const std::string failure = "Error leyendo datos tabla " + table.name() + " . intento: ";
    return withRetry(
        db, "doSelect", [&](char** error) { return readRows(add, clear, db, table, sql, error, leftOut); },
        [&](int) { return failure; });
}

int vselect(std::vector<Record>& rows, const DbHandle& db, const TableDef& table, const char* whereFormat, va_list args) {
    std::string format = "SELECT * FROM " + table.name() + " ";
    if (whereFormat != nullptr) format += whereFormat;
    SqlText sql = vformat(format, args);

    rows.clear();
    return selectWithRetry(
        db, table, sql.get(), [&](Record&& row) { rows.push_back(std::move(row)); }, [&] { rows.clear(); });
}

// va_end on every path, also when formatting throws.
struct VaListEnd {
    va_list& args;
    ~VaListEnd() { va_end(args); }
};

const BorrowedText* lentFor(std::initializer_list<BorrowedText> borrowed, size_t column) {
    for (const BorrowedText& lent : borrowed) {
        if (lent.column == column) return &lent;
    }
    return nullptr;
}

}  // namespace

void keepPageCacheSmall(const DbHandle& db, int kib) {
    const std::string pragma = "PRAGMA cache_size = -" + std::to_string(kib);
    sqlite3_exec(db.get(), pragma.c_str(), nullptr, nullptr, nullptr);
}

std::vector<Record> doSelectWithout(const DbHandle& db, const TableDef& table, size_t leftOut,
                                    const char* whereFormat, ...) {
    // Named columns, unless some are known only by their place.
    std::string columns;
    for (size_t i = 0; i < table.knownColumns() && leftOut != kAllColumns; ++i) {
        if (table.byPosition(i)) leftOut = kAllColumns;
        if (i != leftOut) columns += (columns.empty() ? "" : ", ") + table.columns()[i];
    }
    if (leftOut == kAllColumns) columns = "*";
    std::string format = "SELECT " + columns + " FROM " + table.name() + " ";
    if (whereFormat != nullptr) format += whereFormat;
    va_list args;
    va_start(args, whereFormat);
    VaListEnd end{args};
    SqlText sql = vformat(format, args);
    std::vector<Record> rows;
    selectWithRetry(
        db, table, sql.get(), [&](Record&& row) { rows.push_back(std::move(row)); }, [&] { rows.clear(); },
        leftOut);
    return rows;
}

std::vector<Record> doSelect(const DbHandle& db, const TableDef& table, const char* whereFormat, ...) {
    std::vector<Record> rows;
    va_list args;
    va_start(args, whereFormat);
    VaListEnd end{args};
    vselect(rows, db, table, whereFormat, args);
    return rows;
}

int selectRows(std::vector<Record>& rows, const DbHandle& db, const TableDef& table, const char* whereFormat, ...) {
    va_list args;
    va_start(args, whereFormat);
    VaListEnd end{args};
    return vselect(rows, db, table, whereFormat, args);
}

int selectEach(const DbHandle& db, const TableDef& table, const std::function<void(Record&&)>& add,
               const std::function<void()>& clear) {
    const std::string sql = "SELECT * FROM " + table.name() + " ";
    return selectWithRetry(db, table, sql.c_str(), add, clear);
}

int update(const DbHandle& db, Record& record, std::initializer_list<BorrowedText> borrowed) {
    const TableDef& table = record.table();
    std::string items;
    std::vector<Bound> values;
    std::vector<std::string> replaced;  // texts whose '%' was turned into a blank
    replaced.reserve(table.knownColumns());
    for (size_t i = 0; i < table.knownColumns(); ++i) {
        const BorrowedText* lent = lentFor(borrowed, i);
        if (lent == nullptr && !record.modified(i)) continue;
        const tSqlite3parent& value = record.value(i);
        Bound bound = lent != nullptr ? lentBound(*lent) : boundValue(value);
        // Older readers of these tables fed the values through printf; the
        // headend still expects at most the first '%' turned into a blank.
        const std::string_view text = lent != nullptr  ? lent->text
                                      : value.isNull() ? std::string_view()
                                                       : std::string_view(value.c_str());
        const size_t percent = text.find('%');
        if (percent != std::string_view::npos) {
            replaced.emplace_back(text);
            replaced.back()[percent] = ' ';
            bound = Bound{replaced.back().c_str(), static_cast<int>(replaced.back().size())};
            // "[DEBUG_DB]update: sustituido caracter % por espacio" is not logged.
        }
        if (!items.empty()) items += ",";
        items += " " + table.columns()[i] + " = ? ";
        values.push_back(bound);
    }
    if (items.empty()) return SQLITE_OK;
    const std::string sql = "UPDATE " + table.name() + " SET" + items + " WHERE " + table.keyName() + " = ?";
    values.push_back(boundValue(record.value(table.keyColumn())));
    const std::string failure = "Error actualizando datos registro en tabla " + table.name() + " . intento: ";
    int rc = executeBound(db, "update", sql, values, [&](int) { return failure; });
    if (rc == SQLITE_OK) record.clearModified();
    return rc;
}

int insert(const DbHandle& db, Record& record, std::initializer_list<BorrowedText> borrowed) {
    const TableDef& table = record.table();
    std::string columns;
    std::string marks;
    std::vector<Bound> values;
    for (size_t i = 0; i < table.knownColumns(); ++i) {
        if (i > 0) {
            columns += ", ";
            marks += ", ";
        }
        columns += table.columns()[i];
        marks += "?";
        if (const BorrowedText* lent = lentFor(borrowed, i)) {
            values.push_back(lentBound(*lent));
        } else {
            values.push_back(boundValue(record.value(i)));
        }
    }
    const std::string sql = "INSERT INTO " + table.name() + " (" + columns + ")  VALUES (" + marks + " )";
    int rc = executeBound(db, "insert", sql, values, [&](int code) {
        return "Error (" + std::to_string(code) + ") inserting register in table " + table.name() + " . Attempt: ";
    });
    if (rc == SQLITE_OK) {
        if (record.isNull(table.keyColumn())) {
            record.set(table.keyColumn(), tSqlite3int(static_cast<long long>(sqlite3_last_insert_rowid(db.get()))));
        }
        record.clearModified();
    }
    return rc;
}

int deleteId(const DbHandle& db, const Record& record) {
    const TableDef& table = record.table();
    const std::string sql = "DELETE FROM " + table.name() + " WHERE " + table.keyName() + " = " +
                            quoted(record.value(table.keyColumn()).c_str());
    return execute(db, "deleteId", sql.c_str(), [&](int code) {
        return "Error (" + std::to_string(code) + ") borrando registro en tabla " + table.name() + " . intento: ";
    });
}

int deleteWhere(const DbHandle& db, const TableDef& table, const char* operation, const char* whereFormat, ...) {
    va_list args;
    va_start(args, whereFormat);
    VaListEnd end{args};
    SqlText sql = vformat("DELETE FROM " + table.name() + " WHERE " + whereFormat, args);
    const std::string failure = "Error eliminando la tabla " + table.name() + " . intento: ";
    return execute(db, operation, sql.get(), [&](int) { return failure; });
}

int execStatement(const DbHandle& db, const char* sql) {
    int rc = SQLITE_ERROR;
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        char* error = nullptr;
        rc = sqlite3_exec(db.get(), sql, nullptr, nullptr, &error);
        if (rc == SQLITE_OK) {
            sqlite3_free(error);
            break;
        }
        db.env().log(6, "DB exec error (%d try): %s", attempt, error ? error : sqlite3_errstr(rc));
        sqlite3_free(error);
        db.env().sleepSeconds(1);
    }
    return rc;
}

Transaction::~Transaction() {
    if (active_) rollback();
}

int Transaction::begin() {
    int rc = execStatement(db_, "BEGIN TRANSACTION");
    active_ = (rc == SQLITE_OK);
    return rc;
}

int Transaction::commit() {
    int rc = execStatement(db_, "COMMIT");
    if (rc == SQLITE_OK) active_ = false;
    return rc;
}

int Transaction::rollback() {
    int rc = execStatement(db_, "ROLLBACK");
    active_ = false;
    return rc;
}

}  // namespace doreldb
