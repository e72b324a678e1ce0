// Temporary directories and child processes for the tests: the dev kit's
// python tools and the built agent, run without a shell in between.
#pragma once

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace rctest {

// A new private directory "<$TMPDIR or /tmp>/<prefix>XXXXXX" (under `parent`
// when given). Throws std::runtime_error on failure.
std::string makeTempDir(const std::string& prefix, const std::string& parent = std::string());

// Deletes a tree without following symbolic links, and without the agent's
// own code, so that a fault planted there cannot reach beyond the tree. True
// when it is gone (also when it never existed).
bool removeTreeNoShell(const std::string& path);

// argv[0] (looked up in PATH) running with standard input on /dev/null and
// standard output and error into the files named ("": /dev/null and the
// test's own standard error, where a tool's complaints belong). Every process
// that inherits the output holds a shared flock on it. The child gets SIGTERM
// when the test process dies, and SIGKILL when the object goes while it runs.
class Child {
public:
    explicit Child(const std::vector<std::string>& argv, const std::string& out = "", const std::string& err = "");
    ~Child() { finish(std::chrono::milliseconds(0)); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    bool running();
    // Waits up to `limit` for it to end, then kills it. Its exit status; -1
    // when a signal ended it, the kill included.
    int finish(std::chrono::milliseconds limit);

private:
    pid_t pid_;
    bool running_ = true;
    int status_ = -1;
};

// Where make-headend keeps generated certificates between roots:
// $RC_DEVKIT_CERT_CACHE, else "devkit-cert-cache" beside the test executable.
std::string certCacheDir();

inline std::string devkitDir() { return std::string(RC_SOURCE_DIR) + "/devkit"; }

}  // namespace rctest
