// Small file-system routines shared by the commands.
#pragma once

#include <cstdio>
#include <memory>
#include <cstdint>
#include <string>
#include <sys/types.h>

namespace dorel_remote_control {

struct FileCloser {
    void operator()(FILE* f) const { if (f) fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

// Creates every missing directory along path with the given mode. An existing
// directory is fine; an existing non-directory fails with ENOTDIR. Returns 0 or
// -1 with errno set.
int makePath(const std::string& path, mode_t mode);

// Deletes a directory tree. Stops at the first failure and returns -1; 0 on
// success.
int removeTree(const std::string& path);

// Reads a whole file, or its first `limit` bytes (a file that may grow
// without end, or a device, is then read no further). Returns false when it
// cannot be opened or read.
bool readFile(const std::string& path, std::string& contents, size_t limit = SIZE_MAX);

// Replaces a file by writing a temporary file beside it and renaming it over
// the old one, so readers never see half a file. Returns false on failure
// (nothing is left behind).
bool writeFileAtomic(const std::string& path, const std::string& contents);

}  // namespace dorel_remote_control
