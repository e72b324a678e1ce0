// The single-instance guard: a pid file, plus an advisory lock on it so that
// two instances started in the same instant cannot both believe they won.
#include "common/dorelcommon.h"

#include "common/fs.h"
#include "common/numbers.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

namespace {

bool processAlive(pid_t pid) {
    if (pid <= 0) return false;
    return kill(pid, 0) == 0 || errno == EPERM;
}

pid_t readPid(const std::string& path) {
    std::string contents;
    if (!dorel_remote_control::readFile(path, contents)) return 0;
    return static_cast<pid_t>(dorel_remote_control::atoi32(contents.c_str()));
}

[[noreturn]] void refuse(const char* pidfile, pid_t holder) {
    fprintf(stderr, "Another instance is already running (pid %ld, pid file %s). Exiting.\n",
            static_cast<long>(holder), pidfile);
    exit(1);
}

}  // namespace

void EvitarMultiplesInstancias(const char* pidfile) {
    if (pidfile == nullptr || *pidfile == '\0') return;
    const std::string path = pidfile;
    const std::string lockPath = path + ".lock";

    // The lock lives beside the pid file and stays held (the descriptor is
    // never closed) for the life of the process.
    int lockFd = open(lockPath.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (lockFd >= 0 && flock(lockFd, LOCK_EX | LOCK_NB) != 0) {
        close(lockFd);
        refuse(pidfile, readPid(path));
    }

    pid_t holder = readPid(path);
    if (holder != getpid() && processAlive(holder)) refuse(pidfile, holder);

    // A stale or unreadable file is simply taken over.
    char text[32];
    snprintf(text, sizeof text, "%ld\n", static_cast<long>(getpid()));
    if (!dorel_remote_control::writeFileAtomic(path, text)) {
        fprintf(stderr, "Could not write pid file %s: %s\n", pidfile, strerror(errno));
    }
}
