// A simulated headend under a temporary root, laid out by devkit/make-headend.
#include "support/headend_root.h"

#include "support/process_helpers.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace rctest {

namespace {

struct DbCloser {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using DbPtr = std::unique_ptr<sqlite3, DbCloser>;

struct StmtFinalizer {
    void operator()(sqlite3_stmt* s) const { sqlite3_finalize(s); }
};
using StmtPtr = std::unique_ptr<sqlite3_stmt, StmtFinalizer>;

// Never creates a database: a typo in a path must fail, not make an empty file.
DbPtr openExisting(const std::string& path) {
    sqlite3* raw = nullptr;
    int rc = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE, nullptr);
    DbPtr db(raw);
    if (rc != SQLITE_OK) {
        ADD_FAILURE() << "cannot open " << path << ": "
                      << (raw ? sqlite3_errmsg(raw) : sqlite3_errstr(rc));
        return nullptr;
    }
    sqlite3_busy_timeout(db.get(), 5000);
    return db;
}

StmtPtr prepare(sqlite3* db, const std::string& sql, const std::string& where) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) {
        ADD_FAILURE() << "SQL error in " << where << ": " << sqlite3_errmsg(db) << "\n  " << sql;
        sqlite3_finalize(raw);
        return nullptr;
    }
    return StmtPtr(raw);
}

bool stepAll(sqlite3* db, sqlite3_stmt* stmt, const std::string& where) {
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
    }
    if (rc != SQLITE_DONE) {
        ADD_FAILURE() << "SQL error in " << where << ": " << sqlite3_errmsg(db);
        return false;
    }
    return true;
}

void makeParents(const std::string& path) {
    for (size_t pos = path.find('/', 1); pos != std::string::npos; pos = path.find('/', pos + 1)) {
        std::string dir = path.substr(0, pos);
        if (mkdir(dir.c_str(), 0755) != 0 && errno != EEXIST) return;
    }
}

const char kConfigDb[] = "/dorel/DB/config_global.sqlite";

}  // namespace

HeadendRoot::HeadendRoot(const std::vector<std::string>& extraArgs) {
    root_ = makeTempDir("rc-headend-");
    std::vector<std::string> argv = {"python3", devkitDir() + "/make-headend", root_,
                                     "--cert-cache", certCacheDir()};
    argv.insert(argv.end(), extraArgs.begin(), extraArgs.end());
    int status = Child(argv).finish(std::chrono::minutes(5));
    if (status != 0) {
        removeTreeNoShell(root_);
        std::string command;
        for (const auto& a : argv) command += " " + a;
        throw std::runtime_error("make-headend failed with status " + std::to_string(status) +
                                 ":" + command);
    }
    if (const char* previous = std::getenv("REMOTE_CONTROL_ROOT")) {
        hadPreviousRoot_ = true;
        previousRoot_ = previous;
    }
    setenv("REMOTE_CONTROL_ROOT", root_.c_str(), 1);
    env_ = std::make_unique<TestEnv>(root_);
}

HeadendRoot::~HeadendRoot() {
    if (hadPreviousRoot_) {
        setenv("REMOTE_CONTROL_ROOT", previousRoot_.c_str(), 1);
    } else {
        unsetenv("REMOTE_CONTROL_ROOT");
    }
    if (!removeTreeNoShell(root_)) {
        ADD_FAILURE() << "could not remove the test root " << root_;
    }
}

void HeadendRoot::exec(const std::string& dbFixedPath, const std::string& sql) const {
    DbPtr db = openExisting(rooted(dbFixedPath));
    if (!db) return;
    char* error = nullptr;
    if (sqlite3_exec(db.get(), sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        ADD_FAILURE() << "SQL error on " << dbFixedPath << ": " << (error ? error : "?")
                      << "\n  " << sql;
    }
    sqlite3_free(error);
}

std::vector<std::vector<std::string>> HeadendRoot::query(const std::string& dbFixedPath,
                                                         const std::string& sql) const {
    std::vector<std::vector<std::string>> rows;
    DbPtr db = openExisting(rooted(dbFixedPath));
    if (!db) return rows;
    StmtPtr stmt = prepare(db.get(), sql, dbFixedPath);
    if (!stmt) return rows;
    int rc;
    while ((rc = sqlite3_step(stmt.get())) == SQLITE_ROW) {
        std::vector<std::string> row;
        int columns = sqlite3_column_count(stmt.get());
        for (int i = 0; i < columns; ++i) {
            const unsigned char* text = sqlite3_column_text(stmt.get(), i);
            if (!text) {
                row.emplace_back("<NULL>");
            } else {
                row.emplace_back(reinterpret_cast<const char*>(text),
                                 static_cast<size_t>(sqlite3_column_bytes(stmt.get(), i)));
            }
        }
        rows.push_back(std::move(row));
    }
    if (rc != SQLITE_DONE) {
        ADD_FAILURE() << "SQL error on " << dbFixedPath << ": " << sqlite3_errmsg(db.get())
                      << "\n  " << sql;
    }
    return rows;
}

void HeadendRoot::setConfig(const std::string& key, const std::string& value) const {
    DbPtr db = openExisting(rooted(kConfigDb));
    if (!db) return;
    StmtPtr update = prepare(db.get(),
                             "UPDATE configuracionWebGlobal SET valor = ?1 WHERE nombre = ?2",
                             "setConfig");
    if (!update) return;
    sqlite3_bind_text(update.get(), 1, value.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(update.get(), 2, key.c_str(), -1, SQLITE_TRANSIENT);
    if (!stepAll(db.get(), update.get(), "setConfig " + key)) return;
    if (sqlite3_changes(db.get()) > 0) return;
    StmtPtr insert = prepare(db.get(),
                             "INSERT INTO configuracionWebGlobal (nombre, valor, aplicarBackup) "
                             "VALUES (?1, ?2, '0')",
                             "setConfig");
    if (!insert) return;
    sqlite3_bind_text(insert.get(), 1, key.c_str(), -1, SQLITE_TRANSIENT);
    sqlite3_bind_text(insert.get(), 2, value.c_str(), -1, SQLITE_TRANSIENT);
    stepAll(db.get(), insert.get(), "setConfig " + key);
}

std::string HeadendRoot::config(const std::string& key) const {
    DbPtr db = openExisting(rooted(kConfigDb));
    if (!db) return std::string();
    StmtPtr stmt = prepare(db.get(),
                           "SELECT valor FROM configuracionWebGlobal WHERE nombre = ?1 "
                           "ORDER BY idConfiguracionGlobal LIMIT 1",
                           "config");
    if (!stmt) return std::string();
    sqlite3_bind_text(stmt.get(), 1, key.c_str(), -1, SQLITE_TRANSIENT);
    if (sqlite3_step(stmt.get()) != SQLITE_ROW) return std::string();
    const unsigned char* text = sqlite3_column_text(stmt.get(), 0);
    return text ? reinterpret_cast<const char*>(text) : std::string();
}

int HeadendRoot::hungProcessesLeft() const {
    // A killed process takes a moment to die; give it up to two seconds.
    int left = 0;
    for (int attempt = 0; attempt < 100; ++attempt) {
        left = 0;
        std::ifstream pids(rooted("/devkit/hang/pids"));
        for (std::string pid; std::getline(pids, pid);) {
            std::ifstream stat("/proc/" + pid + "/stat");
            std::string line;
            // "pid (name) state ...": gone, or a zombie, is not running.
            if (std::getline(stat, line) && line.find(") Z") == std::string::npos) ++left;
        }
        if (left == 0) break;
        usleep(20000);
    }
    return left;
}

std::vector<std::string> HeadendRoot::stubCalls() const {
    std::vector<std::string> lines;
    std::ifstream in(rooted("/devkit/calls.log"));
    std::string line;
    while (std::getline(in, line)) lines.push_back(line);
    return lines;
}

void HeadendRoot::writeFile(const std::string& fixedPath, const std::string& contents) const {
    const std::string path = rooted(fixedPath);
    makeParents(path);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
    out.close();
    if (!out) ADD_FAILURE() << "could not write " << path;
}

std::string HeadendRoot::readFile(const std::string& fixedPath) const {
    const std::string path = rooted(fixedPath);
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        ADD_FAILURE() << "could not read " << path;
        return std::string();
    }
    std::ostringstream contents;
    contents << in.rdbuf();
    return contents.str();
}

bool HeadendRoot::exists(const std::string& fixedPath) const {
    struct stat st;
    return lstat(rooted(fixedPath).c_str(), &st) == 0;
}

}  // namespace rctest
