// Temporary directories and child processes for the tests.
#include "support/process_helpers.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace rctest {

std::string makeTempDir(const std::string& prefix, const std::string& parent) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern = (parent.empty() ? (tmp && *tmp ? tmp : "/tmp") : parent) + "/" + prefix + "XXXXXX";
    if (!mkdtemp(&pattern[0])) throw std::runtime_error("mkdtemp " + pattern + ": " + std::strerror(errno));
    return pattern;
}

namespace {

int removeEntry(const char* path, const struct stat*, int type, struct FTW*) {
    return (type == FTW_DP ? rmdir(path) : unlink(path)) == 0 || errno == ENOENT ? 0 : -1;
}

}  // namespace

bool removeTreeNoShell(const std::string& path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return errno == ENOENT;
    return nftw(path.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS) == 0;
}

Child::Child(const std::vector<std::string>& argv, const std::string& out, const std::string& err) {
    // Built before the fork: only async-signal-safe calls come after it.
    std::vector<char*> args;
    for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    const char* outPath = out.empty() ? "/dev/null" : out.c_str();
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error(std::string("fork: ") + std::strerror(errno));
    if (pid_ > 0) return;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);  // the test died before prctl
    const int files[] = {open("/dev/null", O_RDONLY), open(outPath, O_WRONLY | O_CREAT, 0600),
                         err.empty() ? dup(STDERR_FILENO) : open(err.c_str(), O_WRONLY | O_CREAT, 0600)};
    for (int fd = 0; fd < 3; ++fd) {
        if (files[fd] < 0 || dup2(files[fd], fd) < 0) _exit(127);
    }
    flock(STDOUT_FILENO, LOCK_SH);
    execvp(args[0], args.data());
    _exit(127);
}

bool Child::running() {
    int status = 0;
    if (running_ && waitpid(pid_, &status, WNOHANG) == pid_) {
        running_ = false;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    return running_;
}

int Child::finish(std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (running()) {
        kill(pid_, SIGKILL);
        while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
        }
        running_ = false;
    }
    return status_;
}

std::string certCacheDir() {
    const char* env = std::getenv("RC_DEVKIT_CERT_CACHE");
    if (env && *env) return env;
    char exe[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) throw std::runtime_error("cannot tell where the test executable is");
    const std::string path(exe, static_cast<size_t>(n));
    return path.substr(0, path.rfind('/')) + "/devkit-cert-cache";
}

}  // namespace rctest
