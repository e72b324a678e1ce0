// The record frame against real SQLite files: values in and out, the retry
// rule on a locked database, and columns found by their names in a table laid
// out otherwise than the agent's own list.
#include "db/access.h"
#include "db/tables.h"
#include "support/headend_root.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace doreldb;

class RecordFrame : public ::testing::Test {
protected:
    static constexpr const char* kDb = "/dorel/DB/remote_control.sqlite";

    // Another program of the headend, with the database open.
    DbHandle other() {
        sqlite3* raw = nullptr;
        sqlite3_open(root_.rooted(kDb).c_str(), &raw);
        return DbHandle(env_, raw);
    }
    static Record command(const char* text) {
        Record r(RCCommand::table());
        r.set(RCCommand::status, "0");
        r.set(RCCommand::command, text);
        return r;
    }

    rctest::HeadendRoot root_{{"--no-certs"}};
    rctest::TestEnv& env_ = root_.env();
    DbHandle db_ = openDatabase(env_, root_.rooted(kDb));
};

TEST_F(RecordFrame, TextsGoInLiterallyAndAnUpdateWritesOnlyItsColumnsWithTheFirstPercentAsABlank) {
    const char* hostile = "100% 'quoted'; DROP TABLE RCCommand; --";
    Record r = command(hostile);
    r.set(RCCommand::schedule, "");
    ASSERT_EQ(0, insert(db_, r));
    std::vector<Record> rows = doSelect(db_, RCCommand::table(), " WHERE command LIKE %Q ", hostile);
    ASSERT_EQ(1u, rows.size()) << "the quote inside the filter matches literally";
    EXPECT_FALSE(rows[0].isNull(RCCommand::schedule)) << "empty text is not NULL";

    root_.exec(kDb, "UPDATE RCCommand SET result = 'theirs'");   // another program's write in between
    rows[0].set(RCCommand::schedule, "100% ok");
    rows[0].set(RCCommand::nextTime, "50% of 10%");
    ASSERT_EQ(0, update(db_, rows[0]));
    EXPECT_FALSE(rows[0].anyModified());
    EXPECT_EQ((std::vector<std::vector<std::string>>{{"1", "<NULL>", "0", "50  of 10%", "100  ok", hostile, "theirs"}}),
              root_.query(kDb, "SELECT * FROM RCCommand"));
    root_.exec(kDb, "UPDATE RCCommand SET commandId = CAST(X'610062' AS TEXT)");
    EXPECT_EQ("a", doSelect(db_, RCCommand::table())[0].text(RCCommand::commandId)) << "text stops at a NUL byte";
}

TEST_F(RecordFrame, LockedDatabaseIsTriedThreeTimesWithWaitsOfOneTwoThreeSeconds) {
    const DbHandle holder = other();
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(holder.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(doSelect(db_, RCCommand::table()).empty());
    Record r = command("x");
    EXPECT_EQ(SQLITE_BUSY, insert(db_, r));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "SQLite's waits are the Env's";
    EXPECT_EQ((std::vector<unsigned>{1, 2, 3, 1, 2, 3}), env_.sleeps());
    // Attempts are numbered from 0; one retry loop serves every statement, so one end of each is enough.
    EXPECT_TRUE(env_.contains("[ERROR_DB]doSelect: Error leyendo datos tabla RCCommand . intento: 0"));
    EXPECT_TRUE(env_.contains("[ERROR_DB]insert: Error (5) inserting register in table RCCommand . Attempt: 2"));
    EXPECT_EQ(12, env_.count("[ERROR_DB]")) << "with SQLite's message after each\n" << env_.dump();

    ASSERT_EQ(SQLITE_OK, sqlite3_exec(holder.get(), "COMMIT", nullptr, nullptr, nullptr));
    EXPECT_EQ(0, insert(db_, r)) << "once the other program lets go, the next statement goes through";
    root_.exec(kDb, "INSERT INTO RCCommand (nextTime) VALUES (1), (-9223372036854775808)");
    EXPECT_TRUE(doSelect(db_, RCCommand::table(), " WHERE abs(nextTime) > 0").empty()) << "failed half-way";
}

// The only test that spends the busy wait for real: a program of the headend
// holds the database for a second, and the statement outlasts it.
TEST_F(RecordFrame, StatementWaitsOutAShortLockOfAnotherProgram) {
    env_.realSleeps = true;
    const DbHandle holder = other();
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(holder.get(), "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr));
    std::thread releaser([&holder] {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        sqlite3_exec(holder.get(), "COMMIT", nullptr, nullptr, nullptr);
    });
    Record r = command("x");
    EXPECT_EQ(0, insert(db_, r));
    releaser.join();
    EXPECT_TRUE(env_.sleeps().empty()) << "no retry was needed\n" << env_.dump();
}

TEST_F(RecordFrame, StatementRunnerTriesThreeTimesOneSecondApartAndTransactionsRollBackUnlessCommitted) {
    EXPECT_EQ(0, execStatement(db_, "BEGIN TRANSACTION"));
    EXPECT_NE(0, execStatement(db_, "BEGIN TRANSACTION")) << "nested transactions are an error";
    EXPECT_EQ((std::vector<unsigned>{1, 1, 1}), env_.sleeps());
    EXPECT_EQ(1, env_.count("DB exec error (1 try): "));
    EXPECT_EQ(1, env_.count("DB exec error (3 try): "));
    EXPECT_EQ(0, execStatement(db_, "ROLLBACK"));

    for (const bool committed : {false, true}) {
        Transaction transaction(db_);
        ASSERT_EQ(0, transaction.begin());
        Record r = command(committed ? "kept" : "lost");
        ASSERT_EQ(0, insert(db_, r));
        if (committed) {
            ASSERT_EQ(0, transaction.commit());
        }
    }
    const std::vector<Record> rows = doSelect(db_, RCCommand::table());
    ASSERT_EQ(1u, rows.size());
    EXPECT_EQ("kept", rows[0].text(RCCommand::command));
    EXPECT_EQ(3u, env_.sleeps().size()) << "a committed transaction is not rolled back";
}

// The headend's other programs may order a table's columns otherwise, add
// columns of their own or lack one the agent knows. Each layout lists, per
// known column, the place in the created table it must be read from.
TEST_F(RecordFrame, ColumnsAreFoundByTheirNamesAndPositionalOnesAtTheirPlace) {
    const struct Layout {
        const TableDef& table;
        std::string columns;
        std::vector<int> placeOf;   // per known column, in tables.def order
        const char* missing;        // the column the table lacks, if any
    } layouts[] = {
        {TempNIMGlobal::table(),
         "idTempNIMGlobal INTEGER PRIMARY KEY, mac, fk_idNimGlobal, theirs1, Entrada, Lock, Nivel, SignalQuality, "
         "CN, theirs2, BER, MER, Frecuencia, SymbolRate, Polaridad, Banda, ModoPLS, Standby, StreamID, "
         "ScramblingID, theirs3",
         {0, 2, 1, 5, 4, 7, 6, 8, 10, 11, 12, 13, 14, 15, 16, 19, 18, 17},
         nullptr},
        // Columns of the positional ones' names elsewhere are not theirs.
        {ModulosCabecera::table(),
         "idModulosCabecera INTEGER PRIMARY KEY, MAC, HostName, Familia, Modelo, NumeroSerie, Address, HWVersion, "
         "Estado, Temperatura, Uptime, Version, Direccion, SWVersion",
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11},
         nullptr},
        {configuracionWebGlobal::table(), "idConfiguracionGlobal INTEGER PRIMARY KEY, valor, theirs, nombre",
         {0, 3, 1, 3},
         "aplicarBackup"},
    };
    for (const Layout& layout : layouts) {
        const std::string& name = layout.table.name();
        SCOPED_TRACE(name);
        root_.exec(kDb, "CREATE TABLE " + name + " (" + layout.columns + ")");
        // Row 1 holds "1", "11", "21", ... by the created table's places; row 2 only NULLs.
        std::string values = "1";
        const auto width = std::count(layout.columns.begin(), layout.columns.end(), ',') + 1;
        for (int at = 1; at < width; ++at) values += ", '" + std::to_string(10 * at + 1) + "'";
        root_.exec(kDb, "INSERT INTO " + name + " VALUES (" + values + ")");
        root_.exec(kDb, "INSERT INTO " + name + " (rowid) VALUES (2)");

        for (int pass = 0; pass < 2; ++pass) {
            const std::vector<Record> rows = doSelect(db_, layout.table, " ORDER BY rowid");
            ASSERT_EQ(2u, rows.size());
            for (size_t known = 0; known < layout.placeOf.size(); ++known) {
                SCOPED_TRACE(layout.table.columns()[known]);
                EXPECT_EQ(std::to_string(10 * layout.placeOf[known] + 1), rows[0].text(known));
                EXPECT_EQ(known != layout.table.keyColumn(), rows[1].isNull(known));
            }
        }
        // Once per table and connection, naming what is missing.
        EXPECT_EQ(layout.missing ? 1 : 0,
                  env_.count("Table " + name + " has no column " + (layout.missing ? layout.missing : "")))
            << env_.dump();
    }
}

}  // namespace
