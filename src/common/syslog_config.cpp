// Logging set-up shared by the headend's programs: syslog, the debug mask from
// /dorel/conf/debug.conf, and an inotify watch that tells when an operator
// changed the mask.
#include "common/dorelcommon.h"

#include "common/env.h"
#include "common/fs.h"
#include "common/numbers.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/inotify.h>
#include <syslog.h>
#include <unistd.h>

namespace {

const char* const kDebugConfName = "debug.conf";

// Parses "<program> <mask>" lines; returns the mask of `program`, or 0.
unsigned long maskFor(const std::string& contents, const char* program) {
    unsigned long mask = 0;
    size_t start = 0;
    while (start <= contents.size()) {
        size_t end = contents.find('\n', start);
        if (end == std::string::npos) end = contents.size();
        std::string line = contents.substr(start, end - start);
        start = end + 1;
        size_t hash = line.find('#');
        if (hash != std::string::npos) line.resize(hash);
        const char* blanks = " \t\r";
        size_t nameBegin = line.find_first_not_of(blanks);
        if (nameBegin == std::string::npos) continue;
        size_t nameEnd = line.find_first_of(blanks, nameBegin);
        if (nameEnd == std::string::npos) continue;  // a name without a mask
        std::string name = line.substr(nameBegin, nameEnd - nameBegin);
        size_t valueBegin = line.find_first_not_of(blanks, nameEnd);
        if (valueBegin == std::string::npos || program == nullptr || name != program) continue;
        const char* text = line.c_str() + valueBegin;
        char* after = nullptr;
        errno = 0;
        unsigned long value = dorel_remote_control::strtoul32(text, &after, 0);  // decimal or 0x-hex
        if (after != text && errno == 0) mask = value;
    }
    return mask;
}

}  // namespace

int configure_global_syslog(const char* ident, const char* program, unsigned long* mask, int inotifyFd) {
    if (ident != nullptr) openlog(ident, LOG_PID, LOG_DAEMON);

    // The headend's programs share this library, and each finds the
    // configuration under the same root.
    const dorel_remote_control::Paths paths(dorel_remote_control::Env::rootFromEnvironment());
    std::string contents;
    unsigned long value = 0;
    if (dorel_remote_control::readFile(paths.debugConf(), contents)) {
        value = maskFor(contents, program);
    }
    if (mask != nullptr) *mask = value;

    if (inotifyFd < 0) return -1;
    // Watch the directory, not the file: editors and installers replace the
    // file (write a new one, rename it), which a watch on the file would miss.
    // Adding the same directory again returns the same watch.
    return inotify_add_watch(inotifyFd, paths.confDir().c_str(),
                             IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE);
}

int wait_for_inotify_changes(int fd, int watch) {
    if (fd < 0) return 0;
    int changed = 0;
    alignas(struct inotify_event) char buffer[4096];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n <= 0) break;  // EAGAIN: drained
        for (ssize_t offset = 0; offset < n;) {
            const struct inotify_event* event = reinterpret_cast<const struct inotify_event*>(buffer + offset);
            if (event->wd == watch && event->len > 0 && strcmp(event->name, kDebugConfName) == 0) changed = 1;
            offset += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
        }
    }
    return changed;
}
