// SQLite's optional virtual-table modules (full-text search 3/4 and 5,
// R*Tree, dbstat, sqlite_stmt) are registered on every connection the library
// opens. The agent reads and writes ordinary tables only, so the agent
// registers none of them: linked statically, these definitions stand in for
// the library's own, which are then left out of the agent with all the code
// behind them (about a fifth of the agent's code, and a part of every open).
// CMakeLists.txt adds this file only where the static library is split into
// one object per part and so links with it; tests link the library whole.
#include <sqlite3.h>

extern "C" {

int sqlite3Fts3Init(sqlite3*) { return SQLITE_OK; }
int sqlite3Fts5Init(sqlite3*) { return SQLITE_OK; }
int sqlite3RtreeInit(sqlite3*) { return SQLITE_OK; }
int sqlite3DbstatRegister(sqlite3*) { return SQLITE_OK; }
int sqlite3StmtVtabInit(sqlite3*) { return SQLITE_OK; }

}  // extern "C"
