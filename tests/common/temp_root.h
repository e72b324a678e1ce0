// A bare temporary root (no headend in it) for the common library's tests.
#pragma once

#include <cstdlib>
#include <ftw.h>
#include <string>
#include <unistd.h>

class TempRoot {
public:
    TempRoot() {
        char templ[] = "/tmp/rc-common-XXXXXX";
        path_ = mkdtemp(templ);
        const char* previous = getenv("REMOTE_CONTROL_ROOT");
        if (previous) previous_ = previous, hadPrevious_ = true;
        setenv("REMOTE_CONTROL_ROOT", path_.c_str(), 1);
    }
    ~TempRoot() {
        if (hadPrevious_) {
            setenv("REMOTE_CONTROL_ROOT", previous_.c_str(), 1);
        } else {
            unsetenv("REMOTE_CONTROL_ROOT");
        }
        nftw(path_.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return remove(p); }, 16,
             FTW_DEPTH | FTW_PHYS);
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    std::string previous_;
    bool hadPrevious_ = false;
};
