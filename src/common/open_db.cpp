#include "common/dorelcommon.h"

namespace {

// Long enough for another headend program's short write to finish.
const int kBusyTimeoutMs = 3000;

// The agent has one thread: SQLite need not guard its allocator with a mutex
// nor keep allocation statistics, which would otherwise cost a lock and an
// unlock on every value a whole-table read copies. Only possible before the
// library is first used; later it is a harmless no-op.
void configureLibraryOnce() {
    static const bool configured = [] {
        sqlite3_config(SQLITE_CONFIG_SINGLETHREAD);
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        // No block of 20 pages set aside per connection up front: the pages a
        // pass reads are taken one by one, and none is held that was not read.
        sqlite3_config(SQLITE_CONFIG_PAGECACHE, static_cast<void*>(nullptr), 0, 0);
        return true;
    }();
    (void)configured;
}

}  // namespace

sqlite3* openDb(const char* path) {
    if (path == nullptr) return nullptr;
    configureLibraryOnce();
    sqlite3* db = nullptr;
    // Never SQLITE_OPEN_CREATE: a missing headend database must show up as a
    // failure, not as a new empty file that hides it.
    int rc = sqlite3_open_v2(path, &db, SQLITE_OPEN_READWRITE, nullptr);
    if (rc != SQLITE_OK) {
        sqlite3_close(db);
        return nullptr;
    }
    sqlite3_busy_timeout(db, kBusyTimeoutMs);
    return db;
}
