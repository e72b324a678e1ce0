// A bare temporary root (no headend in it) for the common library's tests;
// REMOTE_CONTROL_ROOT names it meanwhile, for the code that reads it there.
#pragma once

#include "support/process_helpers.h"

#include <cstdlib>
#include <string>

class TempRoot {
public:
    TempRoot() { setenv("REMOTE_CONTROL_ROOT", path_.c_str(), 1); }
    ~TempRoot() {
        unsetenv("REMOTE_CONTROL_ROOT");
        rctest::removeTreeNoShell(path_);
    }
    const std::string& path() const { return path_; }

private:
    const std::string path_ = rctest::makeTempDir("rc-common-");
};
