// The versions of the SI tables the controller's SI generator has written to
// files, as the configuration document reports them.
#pragma once

#include <string>

namespace dorel_remote_control {

// The text a version element gets when its file cannot be read.
extern const char* const kSiVersionNotFound;   // "Not Found"

// The version_number of the DVB section stored in the file (bits 1 to 5 of
// the sixth byte) in decimal, or "Not Found" when the file cannot be read or
// is shorter than a section header.
std::string siTableVersion(const std::string& path);

// The file's modification time as "%d-%m-%y %H:%M:%S" in local time, or ""
// when the file cannot be examined.
std::string siTableDate(const std::string& path);

}  // namespace dorel_remote_control
