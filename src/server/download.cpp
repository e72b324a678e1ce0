// Fetching firmware packages with the shared HTTPS client and checking them
// with the system's md5sum. A package is written to a temporary file in the
// target directory and only renamed to its real name once it arrived whole,
// so an interrupted download never looks like a package.
#include "server/download.h"

#include <cstdio>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "common/env.h"
#include "common/errors.h"
#include "common/fs.h"
#include "server/https_client.h"

namespace dorel_remote_control {

namespace {

constexpr size_t kMd5HexDigits = 32;
const char kCouldNotDownload[] = "Could not downloadFile";

// The temporary download file: deleted when it goes out of scope unless it
// was handed on under its final name.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string path) : path_(std::move(path)) {}
    ~TemporaryFile() {
        if (!path_.empty()) std::remove(path_.c_str());
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return path_; }
    void release() { path_.clear(); }

private:
    std::string path_;
};

size_t writeToFile(char* chunk, size_t size, size_t count, void* file) {
    return std::fwrite(chunk, size, count, static_cast<FILE*>(file));
}

// Creates the temporary file; throws when the directory does not take one.
// A file that cannot be opened as a stream stays behind, empty.
FilePtr createTemporary(const std::string& targetDir, std::string& path) {
    std::string pattern = targetDir + "/rc-temp-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    const int fd = mkstemp(name.data());
    if (fd < 0) throw CurlError(kCouldNotDownload);
    FilePtr file(fdopen(fd, "w"));
    if (!file) {
        close(fd);
        throw CurlError(kCouldNotDownload);
    }
    path = name.data();
    return file;
}

}  // namespace

std::string downloadFile(Env& env, const std::string& url, const std::string& targetDir,
                         const std::string& expectedMd5) {
    env.log(7, "Dowloading file: %s", url.c_str());
    HttpsClient& client = HttpsClient::instance();
    CURL* curl = client.handle();
    // Same certificates and credentials as the XML requests; a plain GET.
    client.reconfigure(env);

    std::string temporaryPath;
    FilePtr file = createTemporary(targetDir, temporaryPath);
    TemporaryFile temporary(temporaryPath);

    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &writeToFile);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, file.get());
    const CURLcode code = curl_easy_perform(curl);
    // A failed final flush (a full disk) would leave a truncated package
    // that nothing but an MD5 would notice.
    const bool written = std::fclose(file.release()) == 0;

    if (code != CURLE_OK) throw CurlError(client.transferError(code));
    client.requireOk(env);
    if (!written) throw CurlError(kCouldNotDownload);

    char* effective = nullptr;
    curl_easy_getinfo(curl, CURLINFO_EFFECTIVE_URL, &effective);
    if (!effective || !*effective) throw CurlError("Could not downloadFile. Effective URL empty.");
    const std::string effectiveUrl(effective);
    const size_t slash = effectiveUrl.rfind('/');
    if (slash == std::string::npos) throw CurlError(kCouldNotDownload);

    // The query part stays in the name; a URL ending in "/" names the
    // directory itself, which the rename refuses.
    const std::string finalPath = targetDir + effectiveUrl.substr(slash);
    env.log(7, "Filename: %s -> %s", temporary.path().c_str(), finalPath.c_str());
    if (std::rename(temporary.path().c_str(), finalPath.c_str()) != 0) {
        throw CurlError(kCouldNotDownload);
    }
    temporary.release();
    env.log(7, "File downloaded");

    if (!md5Matches(env, finalPath, expectedMd5)) {
        std::remove(finalPath.c_str());
        throw MD5Error("Invalid MD5");
    }
    return finalPath;
}

bool md5Matches(Env& env, const std::string& path, const std::string& expected) {
    if (expected.empty()) return true;

    // The digest line is all that is read: 32 digits, a blank or two and
    // the name, which the agent gave itself.
    const ProgramResult md5sum = env.run({Program::kMd5sum, {{path, ProgramArgument::kDouble}}}, 127);
    if (md5sum.exitCode < 0) {
        env.log(3, "Could not run md5sum");
        return false;
    }
    std::string line = md5sum.output.substr(0, md5sum.output.find('\n'));
    if (line.empty()) {
        env.log(3, "Could not read md5sum result");
        return false;
    }
    // md5sum marks a line whose file name it had to escape (a backslash or a
    // line end in it) with a leading backslash before the digits.
    if (line[0] == '\\') line.erase(0, 1);
    if (line.find(' ') != kMd5HexDigits) {
        env.log(3, "MD5 has not 16 bytes");
        return false;
    }
    return line.compare(0, kMd5HexDigits, expected) == 0;
}

}  // namespace dorel_remote_control
