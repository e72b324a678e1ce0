// The connection flag servidorZAT_conectado that the headend's web interface
// shows: "1" while the server answers, "0" once it has not for a while.
#include "app/poll_cycle.h"

#include "common/env.h"
#include "db/access.h"
#include "db/tables.h"
#include "server/pass_databases.h"

namespace dorel_remote_control {

namespace {

// A failure this soon after the flag went to "1" leaves it there: a single
// missed exchange should not make the headend look disconnected.
const time_t kDisconnectGraceSeconds = 599;

void writeFlag(PollContext& context, int state) {
    namespace cfg = doreldb::configuracionWebGlobal;
    // Inside a pass the pass's own connection; otherwise one of its own.
    Env& env = context.env;
    doreldb::DbHandle own;
    const doreldb::DbHandle* db = context.databases ? &context.databases->configGlobal() : nullptr;
    if (db == nullptr || !*db) {
        own = doreldb::openDatabase(env, env.paths().configGlobalDb());
        db = &own;
    }
    if (!*db) return;
    std::vector<doreldb::Record> rows =
        doreldb::doSelect(*db, cfg::table(), " WHERE nombre LIKE %Q ", "servidorZAT_conectado");
    // The flag is the web interface's row; without it there is nothing to show.
    if (rows.empty()) return;
    doreldb::Record& row = rows.front();
    row.set(cfg::valor, state == kConnected ? "1" : "0");
    if (doreldb::update(*db, row) != 0) return;
    env.log(7, state == kConnected ? "Connected to the Remote Control server"
                                   : "NOT Connected to the Remote Control server");
    context.connectionState = state;
    context.lastFlagWrite = env.now();
}

}  // namespace

void setConnection(PollContext& context, int status) {
    switch (status) {
        case kConnected:
            if (context.connectionState != kConnected) writeFlag(context, kConnected);
            break;
        case kNotConnected:
            if (context.connectionState == kConnectionUnknown ||
                (context.connectionState == kConnected &&
                 context.env.now() > context.lastFlagWrite + kDisconnectGraceSeconds)) {
                writeFlag(context, kNotConnected);
            }
            break;
        default:
            context.env.log(3, "Unknown Connection Status");
            writeFlag(context, kNotConnected);
            break;
    }
}

}  // namespace dorel_remote_control
