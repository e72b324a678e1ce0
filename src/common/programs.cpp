#include "common/programs.h"

#include "common/env.h"
#include "common/fs.h"

#include <cerrno>
#include <cstring>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace dorel_remote_control {

namespace {

// One row per program: where it lives and how long it may take. A program
// that runs out of time has failed, with the outcome its failure has always
// had (README.md, "Time-outs of the headend's programs").
struct ProgramEntry {
    Program program;
    const char* fixedPath;
    // Found through PATH on the headend, under the root at this path instead.
    const char* pathName;
    unsigned timeoutSeconds;
};

const ProgramEntry kPrograms[] = {
    // Each prints one line from the controller's own flash; an identity that
    // does not come stops the pass, and the next pass asks again.
    {Program::kSerial, "/dorel/script/SERIAL", nullptr, 10},
    {Program::kMac, "/dorel/script/MAC", nullptr, 10},
    {Program::kModelo, "/dorel/script/MODELO", nullptr, 10},
    {Program::kHostname, "/bin/hostname", "hostname", 10},
    // One module's status over the headend's own network answers in well
    // under a second; a module that hangs must not cost the pass minutes,
    // since the pass asks every module in turn.
    {Program::kClienteXmlRpcStatus, "/dorel/bin/clienteXMLRPC", nullptr, 10},
    // A reset is one call to the module; its reboot happens after it answers.
    {Program::kClienteXmlRpcReset, "/dorel/bin/clienteXMLRPC", nullptr, 20},
    // Reads a firmware package of up to some hundred MB from flash.
    {Program::kMd5sum, "/usr/bin/md5sum", nullptr, 300},
    // The firmware scripts make room for the package and write it to flash:
    // they may legitimately run for minutes.
    {Program::kFwUploadStart, "/dorel/script/fw_upload_start.sh", nullptr, 300},
    {Program::kFwUploadEnd, "/dorel/script/fw_upload_end.sh", nullptr, 1800},
    // Key generation on the controller's CPU.
    {Program::kQuorKey, "/dorel/bin/QuorKey", nullptr, 60},
    // Rewrites the network set-up and restarts its services (DHCP included).
    {Program::kWanFromDb, "/dorel/script/WAN_from_DB.sh", nullptr, 120},
    {Program::kGetTimeOffsets, "/dorel/script/get_time_offsets.sh", nullptr, 30},
    {Program::kCrond, "/etc/init.d/S60crond", nullptr, 30},
    // Asks init to reboot; it returns at once, or never when the reboot
    // is under way.
    {Program::kReboot, "/sbin/reboot", "reboot", 60},
};

static_assert(sizeof kPrograms / sizeof kPrograms[0] == static_cast<size_t>(Program::kCount),
              "one row per program");

const ProgramEntry& entryOf(Program program) { return kPrograms[static_cast<size_t>(program)]; }

// A character a shell takes literally inside double quotes.
bool plainInDoubleQuotes(char c) { return c != '$' && c != '`' && c != '\\' && c != '"' && c != '\n'; }

// A character a shell takes literally without any quotes.
bool plainBare(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' || c == '.' ||
           c == '_' || c == '-' || c == '+' || c == ',' || c == ':' || c == '@' || c == '=' || c == '%';
}

template <class Plain>
bool all(const std::string& text, Plain plain) {
    for (char c : text) {
        if (!plain(c)) return false;
    }
    return true;
}

void appendSingleQuoted(std::string& line, const std::string& text) {
    line += '\'';
    for (char c : text) {
        if (c == '\'') {
            line += "'\\''";
        } else {
            line += c;
        }
    }
    line += '\'';
}

void appendShown(std::string& line, const std::string& text, ProgramArgument::Quoting quoting) {
    if (quoting == ProgramArgument::kBare && !text.empty() && all(text, plainBare)) {
        line += text;
    } else if (quoting == ProgramArgument::kDouble && all(text, plainInDoubleQuotes)) {
        line += '"';
        line += text;
        line += '"';
    } else {
        appendSingleQuoted(line, text);
    }
}

long long monotonicMillis() {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

// The read end of the output pipe, closed on every path.
struct Fd {
    int fd = -1;
    ~Fd() { reset(); }
    void reset() {
        if (fd >= 0) close(fd);
        fd = -1;
    }
};

struct SpawnActions {
    posix_spawn_file_actions_t actions;
    SpawnActions() { posix_spawn_file_actions_init(&actions); }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions); }
};

struct SpawnAttributes {
    posix_spawnattr_t attributes;
    SpawnAttributes() { posix_spawnattr_init(&attributes); }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
};

// Reads what the pipe holds now into output (up to limit, the rest dropped);
// false once the pipe is at its end.
bool drain(Fd& pipe, std::string& output, size_t limit) {
    char buffer[4096];
    for (;;) {
        const ssize_t n = read(pipe.fd, buffer, sizeof buffer);
        if (n > 0) {
            const size_t room = limit > output.size() ? limit - output.size() : 0;
            output.append(buffer, static_cast<size_t>(n) < room ? static_cast<size_t>(n) : room);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EAGAIN) return true;
        pipe.reset();
        return false;
    }
}

int exitCodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

}  // namespace

std::string programPath(const Paths& paths, Program program) {
    const ProgramEntry& entry = entryOf(program);
    if (entry.pathName != nullptr && paths.root().empty()) return entry.pathName;
    return paths.rooted(entry.fixedPath);
}

std::string commandLine(const Paths& paths, const ProgramCall& call) {
    std::string line;
    appendShown(line, programPath(paths, call.program), ProgramArgument::kBare);
    for (const ProgramArgument& argument : call.arguments) {
        line += ' ';
        appendShown(line, argument.text, argument.quoting);
    }
    return line;
}

unsigned programTimeoutSeconds(Program program) { return entryOf(program).timeoutSeconds; }

ProgramResult runProgram(Env& env, const ProgramCall& call, unsigned timeoutMillis, size_t captureLimit) {
    ProgramResult result;
    const std::string path = programPath(env.paths(), call.program);
    std::vector<char*> args;
    args.reserve(call.arguments.size() + 2);
    args.push_back(const_cast<char*>(path.c_str()));
    for (const ProgramArgument& argument : call.arguments) args.push_back(const_cast<char*>(argument.text.c_str()));
    args.push_back(nullptr);
    // Built only for a line that is logged.
    auto shownAs = [&] { return commandLine(env.paths(), call); };

    SpawnActions actions;
    posix_spawn_file_actions_addopen(&actions.actions, 0, "/dev/null", O_RDONLY, 0);
    Fd output;
    Fd writeEnd;
    if (captureLimit > 0) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            env.log(3, "Could not start %s: %s", shownAs().c_str(), strerror(errno));
            return result;
        }
        output.fd = ends[0];
        writeEnd.fd = ends[1];
        fcntl(output.fd, F_SETFL, O_NONBLOCK);
        posix_spawn_file_actions_adddup2(&actions.actions, writeEnd.fd, 1);
    }
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    // Nothing of the agent's beyond the three standard streams: not its
    // databases, not a connection libcurl keeps, not the lock of its pid file,
    // which a daemon a script starts (crond) would otherwise hold for years.
    posix_spawn_file_actions_addclosefrom_np(&actions.actions, 3);
#endif

    // A group of its own, so that a time-out can end the program and all it
    // started; the agent's own signal dispositions and mask stay behind.
    SpawnAttributes attributes;
    posix_spawnattr_setflags(&attributes.attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes.attributes, 0);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes.attributes, &signals);
    for (int signal : {SIGPIPE, SIGCHLD, SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&signals, signal);
    posix_spawnattr_setsigdefault(&attributes.attributes, &signals);

    // Where exec runs in a forked child (some libcs, qemu-user), a program
    // that cannot start would come back as exit status 127, the same as one
    // that ran and answered 127; asking first keeps the two apart.
    if (path.find('/') != std::string::npos && access(path.c_str(), X_OK) != 0) {
        env.log(3, "Could not start %s: %s", shownAs().c_str(), strerror(errno));
        return result;
    }
    fflush(nullptr);  // keep the agent's buffered output ahead of the program's
    pid_t pid = -1;
    const int spawned = path.find('/') == std::string::npos
                            ? posix_spawnp(&pid, args[0], &actions.actions, &attributes.attributes, args.data(), environ)
                            : posix_spawn(&pid, args[0], &actions.actions, &attributes.attributes, args.data(), environ);
    writeEnd.reset();
    if (spawned != 0) {
        env.log(3, "Could not start %s: %s", shownAs().c_str(), strerror(spawned));
        return result;
    }

    const long long deadline = monotonicMillis() + timeoutMillis;
    long long pause = 1;
    int status = 0;
    for (;;) {
        const pid_t waited = waitpid(pid, &status, WNOHANG);
        if (waited == pid) {
            if (output.fd >= 0) drain(output, result.output, captureLimit);
            result.exitCode = exitCodeOf(status);
            return result;
        }
        if (waited < 0 && errno != EINTR) {
            env.log(3, "Lost track of %s: %s", shownAs().c_str(), strerror(errno));
            return result;
        }
        const long long left = deadline - monotonicMillis();
        if (left <= 0) break;
        // Short waits at first (most programs end within milliseconds), then
        // a steady few a second.
        const int wait = static_cast<int>(pause < left ? pause : left);
        pause = pause * 2 < 50 ? pause * 2 : 50;
        if (output.fd >= 0) {
            struct pollfd ready = {output.fd, POLLIN, 0};
            if (poll(&ready, 1, wait) > 0) drain(output, result.output, captureLimit);
        } else {
            const struct timespec nap = {wait / 1000, (wait % 1000) * 1000000L};
            nanosleep(&nap, nullptr);
        }
    }

    kill(-pid, SIGKILL);
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.timedOut = true;
    env.log(3, "%s did not end within its time-out of %.1f s: stopped it and everything it started",
            shownAs().c_str(), timeoutMillis / 1000.0);
    return result;
}

}  // namespace dorel_remote_control
