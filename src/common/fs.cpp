#include "common/fs.h"

#include <algorithm>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace dorel_remote_control {
namespace {

int makeOne(const std::string& path, mode_t mode) {
    if (mkdir(path.c_str(), mode) == 0) return 0;
    if (errno != EEXIST) return -1;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return -1;
    if (!S_ISDIR(st.st_mode)) {
        errno = ENOTDIR;
        return -1;
    }
    return 0;
}

struct DirCloser {
    void operator()(DIR* dir) const { if (dir) closedir(dir); }
};

}  // namespace

int makePath(const std::string& path, mode_t mode) {
    if (path.empty()) {
        errno = ENOENT;
        return -1;
    }
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
        if (makeOne(path.substr(0, slash), mode) != 0) return -1;
    }
    return makeOne(path, mode);
}

int removeTree(const std::string& path) {
    std::unique_ptr<DIR, DirCloser> dir(opendir(path.c_str()));
    if (!dir) return -1;
    // readdir() says "no more entries" and "could not read the next one" both
    // with NULL; only errno tells them apart.
    errno = 0;
    while (struct dirent* entry = readdir(dir.get())) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0) continue;
        const std::string child = path + "/" + entry->d_name;
        struct stat st;
        if (lstat(child.c_str(), &st) != 0) return -1;
        if (S_ISDIR(st.st_mode)) {
            if (removeTree(child) != 0) return -1;
        } else if (unlink(child.c_str()) != 0) {
            return -1;
        }
        errno = 0;
    }
    if (errno != 0) return -1;
    dir.reset();
    return rmdir(path.c_str()) == 0 ? 0 : -1;
}

bool readFile(const std::string& path, std::string& contents, size_t limit) {
    FilePtr file(fopen(path.c_str(), "rb"));
    if (!file) return false;
    contents.clear();
    char buffer[4096];
    size_t n;
    while (contents.size() < limit &&
           (n = fread(buffer, 1, std::min(sizeof buffer, limit - contents.size()), file.get())) > 0)
        contents.append(buffer, n);
    return ferror(file.get()) == 0;
}

bool writeFileAtomic(const std::string& path, const std::string& contents) {
    std::string temp = path + ".XXXXXX";
    int fd = mkstemp(&temp[0]);
    if (fd < 0) return false;
    FilePtr file(fdopen(fd, "wb"));
    if (!file) {
        close(fd);
        unlink(temp.c_str());
        return false;
    }
    bool ok = fwrite(contents.data(), 1, contents.size(), file.get()) == contents.size();
    ok = (fflush(file.get()) == 0) && ok;
    ok = (fchmod(fd, 0644) == 0) && ok;
    file.reset();
    if (!ok || rename(temp.c_str(), path.c_str()) != 0) {
        unlink(temp.c_str());
        return false;
    }
    return true;
}


}  // namespace dorel_remote_control
