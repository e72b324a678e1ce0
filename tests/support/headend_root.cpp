// A simulated headend under a temporary root, laid out by devkit/make-headend.
#include "support/headend_root.h"

#include "common/fs.h"
#include "support/process_helpers.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
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

// Never creates a database: a typo in a path must fail, not make an empty file.
std::unique_ptr<sqlite3, DbCloser> openExisting(const std::string& path) {
    sqlite3* raw = nullptr;
    const int rc = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE, nullptr);
    std::unique_ptr<sqlite3, DbCloser> db(raw);
    if (rc != SQLITE_OK) {
        ADD_FAILURE() << "cannot open " << path << ": " << (raw ? sqlite3_errmsg(raw) : sqlite3_errstr(rc));
        return nullptr;
    }
    sqlite3_busy_timeout(db.get(), 5000);
    return db;
}

// The text as an SQL string literal.
std::string literal(const std::string& text) {
    const std::unique_ptr<char, void (*)(void*)> quoted(sqlite3_mprintf("%Q", text.c_str()), sqlite3_free);
    return quoted.get();
}

const char kConfigDb[] = "/dorel/DB/config_global.sqlite";

}  // namespace

HeadendRoot::HeadendRoot(const std::vector<std::string>& extraArgs) : root_(makeTempDir("rc-headend-")) {
    std::vector<std::string> argv = {"python3", devkitDir() + "/make-headend", root_, "--cert-cache", certCacheDir()};
    argv.insert(argv.end(), extraArgs.begin(), extraArgs.end());
    const int status = Child(argv).finish(std::chrono::minutes(5));
    if (status != 0) {
        removeTreeNoShell(root_);
        std::string command;
        for (const auto& a : argv) command += " " + a;
        throw std::runtime_error("make-headend failed with status " + std::to_string(status) + ":" + command);
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
    if (!removeTreeNoShell(root_)) ADD_FAILURE() << "could not remove the test root " << root_;
}

void HeadendRoot::exec(const std::string& dbFixedPath, const std::string& sql) const {
    const auto db = openExisting(rooted(dbFixedPath));
    char* error = nullptr;
    if (db && sqlite3_exec(db.get(), sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        ADD_FAILURE() << "SQL error on " << dbFixedPath << ": " << (error ? error : "?") << "\n  " << sql;
    }
    sqlite3_free(error);
}

std::vector<std::vector<std::string>> HeadendRoot::query(const std::string& dbFixedPath, const std::string& sql) const {
    std::vector<std::vector<std::string>> rows;
    const auto db = openExisting(rooted(dbFixedPath));
    sqlite3_stmt* raw = nullptr;
    int rc = db ? sqlite3_prepare_v2(db.get(), sql.c_str(), -1, &raw, nullptr) : SQLITE_OK;
    const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> stmt(raw, sqlite3_finalize);
    while (raw && (rc = sqlite3_step(raw)) == SQLITE_ROW) {
        rows.emplace_back();
        for (int i = 0; i < sqlite3_column_count(raw); ++i) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(raw, i));
            rows.back().push_back(text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(raw, i)))
                                       : "<NULL>");
        }
    }
    if (rc != SQLITE_OK && rc != SQLITE_DONE) {
        ADD_FAILURE() << "SQL error on " << dbFixedPath << ": " << sqlite3_errmsg(db.get()) << "\n  " << sql;
    }
    return rows;
}

void HeadendRoot::setConfig(const std::string& key, const std::string& value) const {
    const std::string k = literal(key), v = literal(value);
    exec(kConfigDb, "UPDATE configuracionWebGlobal SET valor = " + v + " WHERE nombre = " + k + ";" +
                        "INSERT INTO configuracionWebGlobal (nombre, valor, aplicarBackup) SELECT " + k + ", " + v +
                        ", '0' WHERE NOT EXISTS (SELECT 1 FROM configuracionWebGlobal WHERE nombre = " + k + ")");
}

std::string HeadendRoot::config(const std::string& key) const {
    const auto rows = query(kConfigDb, "SELECT valor FROM configuracionWebGlobal WHERE nombre = " + literal(key) +
                                           " ORDER BY idConfiguracionGlobal LIMIT 1");
    return rows.empty() ? std::string() : rows[0][0];
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
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void HeadendRoot::writeFile(const std::string& fixedPath, const std::string& contents) const {
    const std::string path = rooted(fixedPath);
    dorel_remote_control::makePath(path.substr(0, path.rfind('/')), 0755);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
    out.close();
    if (!out) ADD_FAILURE() << "could not write " << path;
}

std::string HeadendRoot::readFile(const std::string& fixedPath) const {
    std::ifstream in(rooted(fixedPath), std::ios::binary);
    if (!in) ADD_FAILURE() << "could not read " << fixedPath;
    std::ostringstream contents;  // a directory in its place reads as nothing
    contents << in.rdbuf();
    return contents.str();
}

bool HeadendRoot::exists(const std::string& fixedPath) const {
    struct stat st;
    return lstat(rooted(fixedPath).c_str(), &st) == 0;
}

}  // namespace rctest
