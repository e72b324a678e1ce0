// The four functions of the headend's common library that the agent uses.
// They keep their C names and signatures: the headend's other programs call
// them too.
#pragma once

#include <sqlite3.h>

// Opens syslog under `ident` (skipped when ident is null, which re-reads only),
// reads the logging configuration /dorel/conf/debug.conf into *mask, and
// watches the configuration directory on inotifyFd so that a rewritten file is
// noticed. Returns the watch handle (-1 when no watch could be added).
//
// The file has one line per program: "<program-name> <mask>", mask decimal or
// 0x-hex; '#' starts a comment, blank lines are ignored. The mask of the line
// whose name equals `program` is stored; 0 when there is none or no file.
int configure_global_syslog(const char* ident, const char* program, unsigned long* mask,
                            int inotifyFd);

// Non-zero when the logging configuration changed since the last call. Never
// blocks: it drains the non-blocking descriptor and counts only events on
// debug.conf.
int wait_for_inotify_changes(int fd, int watch);

// Makes sure only one instance runs with this pid file. A live process other
// than this one holding the file ends this process with a message on standard
// error and exit status 1; a stale or unreadable file is taken over. The own
// pid is written through a temporary file and a rename. An advisory lock held
// for the life of the process keeps two instances started at once from both
// winning.
void EvitarMultiplesInstancias(const char* pidfile);

// Opens an existing SQLite file (never creates one) with a busy time-out, so
// that a statement waits a little for the headend's other writers. Returns
// null on failure.
sqlite3* openDb(const char* path);
