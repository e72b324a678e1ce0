#include "commands/query/si_table_version.h"

#include "common/fs.h"

#include <cstdio>
#include <ctime>
#include <sys/stat.h>

namespace dorel_remote_control {

const char* const kSiVersionNotFound = "Not Found";

namespace {

// Offset of the byte holding version_number and current_next_indicator.
constexpr size_t kVersionByte = 5;

}  // namespace

std::string siTableVersion(const std::string& path) {
    FilePtr file(fopen(path.c_str(), "rb"));
    if (!file) return kSiVersionNotFound;
    unsigned char header[kVersionByte + 1];
    if (fread(header, 1, sizeof header, file.get()) != sizeof header) return kSiVersionNotFound;
    return std::to_string((header[kVersionByte] >> 1) & 0x1F);
}

std::string siTableDate(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return std::string();
    const time_t modified = info.st_mtime;
    struct tm local;
    if (localtime_r(&modified, &local) == nullptr) return std::string();
    char text[32];
    const size_t length = strftime(text, sizeof text, "%d-%m-%y %H:%M:%S", &local);
    return std::string(text, length);
}

}  // namespace dorel_remote_control
