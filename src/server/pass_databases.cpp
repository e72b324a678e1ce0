#include "server/pass_databases.h"

#include "common/env.h"

namespace dorel_remote_control {

namespace {

const doreldb::DbHandle& openOnce(Env& env, doreldb::DbHandle& handle, const std::string& path) {
    if (!handle) handle = doreldb::openDatabase(env, path);
    return handle;
}

}  // namespace

const doreldb::DbHandle& PassDatabases::configGlobal() {
    return openOnce(env_, configGlobal_, env_.paths().configGlobalDb());
}
const doreldb::DbHandle& PassDatabases::tempGlobal() { return openOnce(env_, tempGlobal_, env_.paths().tempGlobalDb()); }

void PassDatabases::releaseCachedPages() {
    for (const doreldb::DbHandle* handle : {&configGlobal_, &tempGlobal_}) {
        if (*handle) sqlite3_db_release_memory(handle->get());
    }
}

}  // namespace dorel_remote_control
