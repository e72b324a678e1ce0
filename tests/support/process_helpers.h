// Temporary directories and child processes for the test-support library:
// what HeadendRoot and TestServer need to run the dev kit's python tools
// without a shell in between.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace rctest {

// A new private directory "<$TMPDIR or /tmp>/<prefix>XXXXXX" (under `parent`
// when given). Throws std::runtime_error on failure.
std::string makeTempDir(const std::string& prefix, const std::string& parent = std::string());

// Deletes a tree without following symbolic links. True when it is gone
// (also when it never existed).
bool removeTreeNoShell(const std::string& path);

// Starts argv[0] (looked up in PATH) with standard input and output on
// /dev/null; standard error is kept so the child's complaints reach the test
// log. The child gets SIGTERM when the test process dies. Returns the pid;
// throws std::runtime_error when fork fails.
pid_t spawnProcess(const std::vector<std::string>& argv);

// Runs a program to completion. Returns its exit status, or -1 when it could
// not be run or was killed by a signal.
int runProcess(const std::vector<std::string>& argv);

// Where make-headend keeps generated certificates between roots:
// $RC_DEVKIT_CERT_CACHE, else "devkit-cert-cache" beside the test executable.
std::string certCacheDir();

// The source tree's devkit/ directory.
std::string devkitDir();

}  // namespace rctest
