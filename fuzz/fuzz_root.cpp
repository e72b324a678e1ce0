#include "fuzz_root.h"

#include "server/settings.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace rcfuzz {
namespace {

std::string& rootPath() {
    static std::string path;
    return path;
}

void removeRoot() {
    std::error_code ignored;
    if (!rootPath().empty()) std::filesystem::remove_all(rootPath(), ignored);
}

// The headend's databases, relative to the root.
const char* const kDatabases[] = {"dorel/DB/config_global.sqlite", "dorel/DB/config_local.sqlite",
                                  "dorel/DB/remote_control.sqlite",
                                  "dorel/DB/quor_global.sqlite", "tmp/temp_global.sqlite"};

void copyDatabases(const std::string& from, const std::string& to) {
    for (const char* database : kDatabases) {
        std::error_code ignored;  // a database the layout lacks stays absent
        std::filesystem::copy_file(from + "/" + database, to + "/" + database,
                                   std::filesystem::copy_options::overwrite_existing, ignored);
    }
}

std::string pristinePath() { return rootPath() + "/pristine"; }

void fail(const std::string& what) {
    std::fprintf(stderr, "fuzz: %s\n", what.c_str());
    removeRoot();
    std::exit(2);
}

}  // namespace

void prepareHeadend() {
    if (!rootPath().empty()) return;
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/rc-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) fail("cannot make a temporary directory");
    rootPath() = pattern;
    std::atexit(removeRoot);

    const std::string make = "python3 '" RC_SOURCE_DIR "/devkit/make-headend' '" + pattern +
                             "' --no-certs --active 1 --server-url https://127.0.0.1:1/rc/ >/dev/null";
    if (std::system(make.c_str()) != 0) fail("make-headend failed");
    for (const char* dir : {"/dorel/DB", "/tmp"}) {
        std::error_code error;
        std::filesystem::create_directories(pristinePath() + dir, error);
        if (error) fail("cannot keep a copy of the databases");
    }
    copyDatabases(pattern, pristinePath());
    setenv("REMOTE_CONTROL_ROOT", pattern.c_str(), 1);
    // Any URL a fuzzed command names goes to a proxy that is not there: no
    // name lookup, no connection beyond the loopback.
    setenv("ALL_PROXY", "http://127.0.0.1:1", 1);
    setenv("all_proxy", "http://127.0.0.1:1", 1);
    setenv("https_proxy", "http://127.0.0.1:1", 1);
    setenv("http_proxy", "http://127.0.0.1:1", 1);
    unsetenv("NO_PROXY");
    unsetenv("no_proxy");

    try {
        dorel_remote_control::settings().load(env());
    } catch (const std::exception& e) {
        fail(std::string("the headend's settings do not load: ") + e.what());
    }
    // The agent echoes every document on standard output.
    if (std::freopen("/dev/null", "w", stdout) == nullptr) fail("cannot silence standard output");
}

void clearCommands() {
    sqlite3* db = nullptr;
    const std::string path = rootPath() + "/dorel/DB/remote_control.sqlite";
    if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_exec(db, "DELETE FROM RCCommand", nullptr, nullptr, nullptr);
    }
    sqlite3_close(db);
}

void restoreHeadend() { copyDatabases(pristinePath(), rootPath()); }

namespace {

class FuzzEnv : public dorel_remote_control::Env {
public:
    explicit FuzzEnv(const std::string& root) : Env(root) {}
    time_t now() override { return 1700000000; }
    void sleepSeconds(unsigned) override {}
    void sleepMillis(unsigned) override {}

protected:
    void write(int, const char*, va_list) override {}
};

}  // namespace

dorel_remote_control::Env& env() {
    static FuzzEnv instance(rootPath());
    return instance;
}

}  // namespace rcfuzz
