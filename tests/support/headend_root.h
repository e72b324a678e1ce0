// A simulated headend under a temporary root, laid out by devkit/make-headend,
// and the test Env the agent's code runs in there. REMOTE_CONTROL_ROOT points
// at it for the object's lifetime, for the agent processes a test starts.
// Nothing outside the root is touched.
#pragma once

#include "support/test_env.h"

#include <memory>
#include <string>
#include <vector>

namespace rctest {

class HeadendRoot {
public:
    // extraArgs go to devkit/make-headend (e.g. {"--modules", "3"}).
    explicit HeadendRoot(const std::vector<std::string>& extraArgs = {});
    ~HeadendRoot();
    HeadendRoot(const HeadendRoot&) = delete;
    HeadendRoot& operator=(const HeadendRoot&) = delete;

    const std::string& path() const { return root_; }
    // The Env of the agent's code under this root.
    TestEnv& env() { return *env_; }
    // root + fixedPath, e.g. rooted("/dorel/DB/config_global.sqlite").
    std::string rooted(const std::string& fixedPath) const { return root_ + fixedPath; }

    // Runs SQL on one of the root's databases (a path under the root, e.g.
    // "/dorel/DB/config_global.sqlite"); fails the test on error.
    void exec(const std::string& dbFixedPath, const std::string& sql) const;
    // Rows of a query, each column as text ("<NULL>" for NULL).
    std::vector<std::vector<std::string>> query(const std::string& dbFixedPath,
                                                const std::string& sql) const;
    // Sets a configuracionWebGlobal value (inserting the key when missing).
    void setConfig(const std::string& key, const std::string& value) const;
    std::string config(const std::string& key) const;

    // Lines the dev kit's stub programs recorded (their command lines), from
    // <root>/devkit/calls.log.
    std::vector<std::string> stubCalls() const;
    // How many of the processes the hanging stand-ins started (the stand-in
    // and its child, listed in <root>/devkit/hang/pids) still run; a zombie
    // waiting for init counts as gone.
    int hungProcessesLeft() const;

    void writeFile(const std::string& fixedPath, const std::string& contents) const;
    std::string readFile(const std::string& fixedPath) const;
    bool exists(const std::string& fixedPath) const;

private:
    std::string root_;
    std::unique_ptr<TestEnv> env_;
    std::string previousRoot_;
    bool hadPreviousRoot_ = false;
};

}  // namespace rctest
