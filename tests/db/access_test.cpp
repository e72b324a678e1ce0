// The record frame against real SQLite files: the SQL it sends, its retries on
// a locked database, and what comes back.
#include "db/access.h"
#include "db/tables.h"
#include "support/fake_clock.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace doreldb;

class TempDb {
public:
    TempDb() {
        char templ[] = "/tmp/rc-dbtest-XXXXXX";
        int fd = mkstemp(templ);
        close(fd);
        path_ = templ;
        sqlite3* raw = nullptr;
        sqlite3_open(path_.c_str(), &raw);
        db_.reset(raw);
        run("CREATE TABLE RCCommand (id INTEGER PRIMARY KEY, commandId, status, nextTime, schedule, command, result)");
        run("CREATE TABLE configuracionWebGlobal (idConfiguracionGlobal INTEGER PRIMARY KEY, nombre, valor, "
            "aplicarBackup, extraColumn)");
    }
    ~TempDb() {
        db_.reset();
        unlink(path_.c_str());
    }
    sqlite3* db() { return db_.get(); }
    const std::string& path() const { return path_; }
    void run(const std::string& sql) { ASSERT_EQ(SQLITE_OK, sqlite3_exec(db_.get(), sql.c_str(), nullptr, nullptr, nullptr)) << sql; }

    // Records every statement the connection runs.
    std::vector<std::string>& traceStatements() {
        sqlite3_trace_v2(
            db_.get(), SQLITE_TRACE_STMT,
            [](unsigned, void* context, void*, void* x) -> int {
                static_cast<std::vector<std::string>*>(context)->push_back(static_cast<const char*>(x));
                return 0;
            },
            &statements_);
        return statements_;
    }

private:
    std::string path_;
    DbHandle db_;
    std::vector<std::string> statements_;
};

Record command(const char* commandId, const char* text) {
    Record r(RCCommand::table());
    r.set(RCCommand::commandId, commandId);
    r.set(RCCommand::status, "0");
    r.set(RCCommand::nextTime, "0");
    r.set(RCCommand::command, text);
    return r;
}

TEST(RecordFrame, BuildsTheStatementsOfTheTable) {
    TempDb t;
    std::vector<std::string>& sql = t.traceStatements();

    Record r = command("7", "it's");
    ASSERT_EQ(0, insert(t.db(), r));
    EXPECT_EQ("1", r.key()) << "a new row takes the database's id";
    r.set(RCCommand::status, "2");
    r.set(RCCommand::schedule, "s");
    ASSERT_EQ(0, update(t.db(), r));
    EXPECT_FALSE(r.anyModified());
    EXPECT_EQ(0, update(t.db(), r)) << "nothing modified, nothing to write";
    std::vector<Record> rows = doSelect(t.db(), RCCommand::table(), " WHERE status LIKE %Q ", "2");
    ASSERT_EQ(1u, rows.size());
    ASSERT_EQ(0, deleteId(t.db(), rows[0]));

    ASSERT_EQ(4u, sql.size());
    EXPECT_EQ("INSERT INTO RCCommand (id, commandId, status, nextTime, schedule, command, result)  VALUES "
              "(NULL, '7', '0', '0', NULL, 'it''s', NULL )",
              sql[0]);
    EXPECT_EQ("UPDATE RCCommand SET status = '2' , schedule = 's'  WHERE id = '1'", sql[1]);
    EXPECT_EQ("SELECT * FROM RCCommand  WHERE status LIKE '2' ", sql[2]);
    EXPECT_EQ("DELETE FROM RCCommand WHERE id = '1'", sql[3]);
}

TEST(RecordFrame, ValuesRoundTripAsTextWithNullKept) {
    TempDb t;
    Record r = command("1", "a 'quoted' value; DROP TABLE RCCommand; --");
    r.set(RCCommand::result, static_cast<const char*>(nullptr));
    r.set(RCCommand::schedule, "");
    ASSERT_EQ(0, insert(t.db(), r));

    std::vector<Record> rows =
        doSelect(t.db(), RCCommand::table(), " WHERE command LIKE %Q ", "a 'quoted' value; DROP TABLE RCCommand; --");
    ASSERT_EQ(1u, rows.size()) << "the quote inside the filter matches literally";
    EXPECT_EQ("a 'quoted' value; DROP TABLE RCCommand; --", rows[0].text(RCCommand::command));
    EXPECT_TRUE(rows[0].isNull(RCCommand::result));
    EXPECT_FALSE(rows[0].isNull(RCCommand::schedule)) << "empty text is not NULL";
    EXPECT_EQ(nullptr, rows[0].value(RCCommand::result).c_str());
    EXPECT_TRUE(rows[0].isNull(40)) << "reading past the row's end is NULL, not a crash";
}

TEST(RecordFrame, ReadsRowsWithMoreColumnsThanItKnows) {
    TempDb t;
    t.run("INSERT INTO configuracionWebGlobal VALUES (1, 'a', '1', 0, 'extra')");
    t.run("INSERT INTO configuracionWebGlobal VALUES (2, 'b', '2', 0, NULL)");
    std::vector<Record> rows = doSelect(t.db(), configuracionWebGlobal::table());
    ASSERT_EQ(2u, rows.size());
    EXPECT_EQ("a", rows[0].text(configuracionWebGlobal::nombre)) << "rows come in the database's order";
    EXPECT_EQ(5u, rows[0].size());
    EXPECT_EQ("extra", rows[0].text(4));

    // Writing back names only known columns, so the unknown one survives.
    rows[0].set(configuracionWebGlobal::valor, "9");
    ASSERT_EQ(0, update(t.db(), rows[0]));
    std::vector<Record> again = doSelect(t.db(), configuracionWebGlobal::table(), " WHERE nombre LIKE %Q ", "a");
    ASSERT_EQ(1u, again.size());
    EXPECT_EQ("9", again[0].text(configuracionWebGlobal::valor));
    EXPECT_EQ("extra", again[0].text(4));
}

// The select reads rows step by step; every stored type must come back as
// the text sqlite3_get_table gave for it (cut at a NUL byte, NULL kept).
TEST(RecordFrame, ValuesOfEveryStorageTypeReadAsSqlite3GetTableGaveThem) {
    TempDb t;
    t.run("INSERT INTO configuracionWebGlobal VALUES (1, 'text', -42, 1.5, NULL)");
    t.run("INSERT INTO configuracionWebGlobal VALUES (2, '', 1e300, 0.1, X'')");
    t.run("INSERT INTO configuracionWebGlobal VALUES (3, X'610062', CAST(X'41004200' AS TEXT), 9223372036854775807, "
          "'ñandú')");
    std::vector<Record> rows = doSelect(t.db(), configuracionWebGlobal::table());

    char** table = nullptr;
    int rowCount = 0;
    int columnCount = 0;
    ASSERT_EQ(SQLITE_OK, sqlite3_get_table(t.db(), "SELECT * FROM configuracionWebGlobal ", &table, &rowCount,
                                           &columnCount, nullptr));
    ASSERT_EQ(static_cast<size_t>(rowCount), rows.size());
    for (int r = 0; r < rowCount; ++r) {
        ASSERT_EQ(static_cast<size_t>(columnCount), rows[r].size());
        for (int c = 0; c < columnCount; ++c) {
            const char* expected = table[(r + 1) * columnCount + c];
            const tSqlite3parent& got = rows[r].value(static_cast<size_t>(c));
            if (expected == nullptr) {
                EXPECT_TRUE(got.isNull()) << "row " << r << " column " << c;
            } else {
                EXPECT_FALSE(got.isNull()) << "row " << r << " column " << c;
                EXPECT_EQ(std::string(expected), got.str()) << "row " << r << " column " << c;
            }
        }
    }
    sqlite3_free_table(table);
    EXPECT_EQ("a", rows[2].text(configuracionWebGlobal::nombre)) << "text stops at a NUL byte";
}

TEST(RecordFrame, UpdateTurnsOnlyTheFirstPercentIntoABlank) {
    TempDb t;
    t.run("INSERT INTO configuracionWebGlobal VALUES (1, 'a', 'x', 0, NULL)");
    std::vector<Record> rows = doSelect(t.db(), configuracionWebGlobal::table());
    rows[0].set(configuracionWebGlobal::valor, "100% ok");
    rows[0].set(configuracionWebGlobal::nombre, "50% of 10%");
    ASSERT_EQ(0, update(t.db(), rows[0]));
    rows = doSelect(t.db(), configuracionWebGlobal::table());
    EXPECT_EQ("100  ok", rows[0].text(configuracionWebGlobal::valor));
    EXPECT_EQ("50  of 10%", rows[0].text(configuracionWebGlobal::nombre));

    // An insert stores the text as given.
    Record r = command("1", "100% kept");
    ASSERT_EQ(0, insert(t.db(), r));
    EXPECT_EQ("100% kept", doSelect(t.db(), RCCommand::table())[0].text(RCCommand::command));
}

TEST(RecordFrame, RetriesALockedDatabaseThreeTimesWithGrowingWaits) {
    TempDb t;
    t.run("INSERT INTO configuracionWebGlobal VALUES (1, 'a', 'x', 0, NULL)");
    // Another program holds the database.
    sqlite3* otherRaw = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(t.path().c_str(), &otherRaw));
    DbHandle other(otherRaw);
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));

    rctest::FakeClock clock;
    rctest::LogCapture log;
    std::vector<Record> rows = doSelect(t.db(), configuracionWebGlobal::table());
    EXPECT_TRUE(rows.empty()) << "a select that keeps failing yields no rows";
    EXPECT_EQ((std::vector<unsigned>{1, 2, 3}), clock.sleeps());
    for (int n = 0; n < 3; ++n) {
        EXPECT_TRUE(log.contains("[ERROR_DB]doSelect: Error leyendo datos tabla configuracionWebGlobal . intento: " +
                                 std::to_string(n)))
            << log.dump();
    }
    EXPECT_TRUE(log.contains(std::string("[ERROR_DB]doSelect: ") + sqlite3_errstr(SQLITE_BUSY))) << log.dump();

    log.clear();
    Record r = command("1", "x");
    EXPECT_EQ(SQLITE_BUSY, insert(t.db(), r));
    EXPECT_TRUE(log.contains("[ERROR_DB]insert: Error (5) inserting register in table RCCommand . Attempt: 2"))
        << log.dump();
    EXPECT_EQ((std::vector<unsigned>{1, 2, 3, 1, 2, 3}), clock.sleeps());

    // Once the other program lets go, the next statement goes through.
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(other.get(), "COMMIT", nullptr, nullptr, nullptr));
    EXPECT_EQ(0, insert(t.db(), r));
}

TEST(RecordFrame, StatementRunnerTriesThreeTimesOneSecondApart) {
    TempDb t;
    rctest::FakeClock clock;
    rctest::LogCapture log;
    EXPECT_EQ(0, execStatement(t.db(), "BEGIN TRANSACTION"));
    EXPECT_NE(0, execStatement(t.db(), "BEGIN TRANSACTION")) << "nested transactions are an error";
    EXPECT_EQ((std::vector<unsigned>{1, 1, 1}), clock.sleeps());
    EXPECT_EQ(1, log.count("DB exec error (1 try): "));
    EXPECT_EQ(1, log.count("DB exec error (3 try): "));
    EXPECT_EQ(0, execStatement(t.db(), "ROLLBACK"));
}

TEST(RecordFrame, TransactionRollsBackUnlessCommitted) {
    TempDb t;
    {
        Transaction tx(t.db());
        ASSERT_EQ(0, tx.begin());
        Record r = command("1", "lost");
        ASSERT_EQ(0, insert(t.db(), r));
    }
    EXPECT_TRUE(doSelect(t.db(), RCCommand::table()).empty());
    {
        Transaction tx(t.db());
        ASSERT_EQ(0, tx.begin());
        Record r = command("1", "kept");
        ASSERT_EQ(0, insert(t.db(), r));
        ASSERT_EQ(0, tx.commit());
    }
    EXPECT_EQ(1u, doSelect(t.db(), RCCommand::table()).size());
}

}  // namespace
