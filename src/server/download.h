// Fetching a firmware package over the shared HTTPS client into a directory,
// and checking it against an MD5 sum with the system's md5sum.
#pragma once

#include <string>

namespace dorel_remote_control {

class Env;

// Downloads url into targetDir (which must exist) under the name the effective
// URL ends with, replacing a file of that name. Returns the full path. Throws
// CurlError for transfer problems and MD5Error "Invalid MD5" when the file does
// not match expectedMd5 (the file is then deleted). No temporary file is left
// behind on failure.
std::string downloadFile(Env& env, const std::string& url, const std::string& targetDir,
                         const std::string& expectedMd5);

// True when the file's MD5 equals expected exactly (case-sensitive); an empty
// expected value matches without running anything.
bool md5Matches(Env& env, const std::string& path, const std::string& expected);

}  // namespace dorel_remote_control
