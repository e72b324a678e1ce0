#include "server/pass_databases.h"

#include "common/paths.h"

namespace dorel_remote_control {

namespace {

sqlite3* openOnce(doreldb::DbHandle& handle, const std::string& path) {
    if (!handle) handle = doreldb::openDatabase(path);
    return handle.get();
}

}  // namespace

sqlite3* PassDatabases::configGlobal() { return openOnce(configGlobal_, paths::configGlobalDb()); }
sqlite3* PassDatabases::tempGlobal() { return openOnce(tempGlobal_, paths::tempGlobalDb()); }

void PassDatabases::releaseCachedPages() {
    for (const doreldb::DbHandle* handle : {&configGlobal_, &tempGlobal_}) {
        if (*handle) sqlite3_db_release_memory(handle->get());
    }
}

}  // namespace dorel_remote_control
