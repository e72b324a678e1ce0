// A bare temporary root (no headend in it) for the common library's tests;
// REMOTE_CONTROL_ROOT names it meanwhile, for the code that reads it there.
#pragma once

#include "support/process_helpers.h"

#include <cstdlib>
#include <string>

struct TempRoot {
    TempRoot() { setenv("REMOTE_CONTROL_ROOT", path.c_str(), 1); }
    ~TempRoot() {
        unsetenv("REMOTE_CONTROL_ROOT");
        rctest::removeTreeNoShell(path);
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string path = rctest::makeTempDir("rc-common-");
};
