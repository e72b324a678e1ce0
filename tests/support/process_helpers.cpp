// Temporary directories and child processes for the test-support library.
#include "support/process_helpers.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <limits.h>
#include <signal.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rctest {

namespace {

std::string tempBase() {
    const char* tmp = std::getenv("TMPDIR");
    return (tmp && *tmp) ? tmp : "/tmp";
}

int removeEntry(const char* path, const struct stat*, int type, struct FTW*) {
    int rc = (type == FTW_DP) ? rmdir(path) : unlink(path);
    return (rc == 0 || errno == ENOENT) ? 0 : -1;
}

[[noreturn]] void execChild(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    // Only async-signal-safe calls between fork and _exit.
    const char msg[] = "rctest: could not execute child program\n";
    ssize_t ignored = write(STDERR_FILENO, msg, sizeof msg - 1);
    (void)ignored;
    _exit(127);
}

void prepareChild(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    // The parent may have died between fork and prctl.
    if (getppid() != parent) _exit(1);
    int devNull = open("/dev/null", O_RDWR);
    if (devNull >= 0) {
        dup2(devNull, STDIN_FILENO);
        dup2(devNull, STDOUT_FILENO);
        if (devNull > STDERR_FILENO) close(devNull);
    }
}

}  // namespace

std::string makeTempDir(const std::string& prefix, const std::string& parent) {
    std::string pattern = (parent.empty() ? tempBase() : parent) + "/" + prefix + "XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (!mkdtemp(buffer.data())) {
        throw std::runtime_error("mkdtemp " + pattern + ": " + std::strerror(errno));
    }
    return std::string(buffer.data());
}

bool removeTreeNoShell(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return errno == ENOENT;
    return nftw(path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS) == 0;
}

pid_t spawnProcess(const std::vector<std::string>& argv) {
    if (argv.empty()) throw std::runtime_error("spawnProcess: empty command");
    pid_t parent = getpid();
    pid_t pid = fork();
    if (pid < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    if (pid == 0) {
        prepareChild(parent);
        execChild(argv);
    }
    return pid;
}

int runProcess(const std::vector<std::string>& argv) {
    pid_t pid;
    try {
        pid = spawnProcess(argv);
    } catch (const std::runtime_error&) {
        return -1;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string certCacheDir() {
    const char* env = std::getenv("RC_DEVKIT_CERT_CACHE");
    if (env && *env) return env;
    char exe[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) return tempBase() + "/rc-devkit-cert-cache-" + std::to_string(getuid());
    std::string path(exe, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/')) + "/devkit-cert-cache";
}

std::string devkitDir() { return std::string(RC_SOURCE_DIR) + "/devkit"; }

}  // namespace rctest
