#include "server/client_certificate.h"

#include "common/fs.h"
#include "common/env.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace dorel_remote_control {

ClientCertificateFiles::ClientCertificateFiles(Env& env)
    : env_(env),
      active_(env.paths().clientCert()),
      temporary_(active_ + ".tmp"),
      backup_(active_ + ".bak"),
      renewed_(active_ + ".renewed"),
      refused_(active_ + ".refused") {}

int ClientCertificateFiles::renameFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str());
}

CertificateInstall ClientCertificateFiles::install(const std::string& certificateText) {
    if (!writeTemporary(certificateText)) return CertificateInstall::kNotSaved;
    if (!replace()) return CertificateInstall::kNotReplaced;
    // Without the mark a refused certificate is not rolled back: the new one
    // stays in use all the same.
    FilePtr mark(std::fopen(renewed_.c_str(), "wb"));
    if (!mark) env_.log(3, "Could not create %s: %s", renewed_.c_str(), strerror(errno));
    return CertificateInstall::kInstalled;
}

bool ClientCertificateFiles::renewalUnconfirmed() const {
    struct stat st;
    return stat(renewed_.c_str(), &st) == 0 && stat(backup_.c_str(), &st) == 0;
}

void ClientCertificateFiles::confirmRenewal() { std::remove(renewed_.c_str()); }

bool ClientCertificateFiles::rollBack() {
    std::remove(renewed_.c_str());
    if (renameFile(active_, refused_) != 0) {
        env_.log(3, "Could not set the refused certificate %s aside", active_.c_str());
        return false;
    }
    if (renameFile(backup_, active_) != 0) {
        env_.log(3, "Could not put the previous certificate %s back", backup_.c_str());
        renameFile(refused_, active_);
        return false;
    }
    env_.log(3, "The server refused the renewed client certificate: the previous one is back in use, the refused one "
                "kept as %s", refused_.c_str());
    return true;
}

bool ClientCertificateFiles::writeTemporary(const std::string& certificateText) {
    FilePtr file(std::fopen(temporary_.c_str(), "wb"));
    if (!file) {
        env_.log(3, "Could not open %s: %s", temporary_.c_str(), strerror(errno));
        return false;
    }
    // A certificate cut short by a full disk must not replace a whole one.
    bool ok = std::fwrite(certificateText.data(), 1, certificateText.size(), file.get()) == certificateText.size();
    ok = (std::fclose(file.release()) == 0) && ok;
    if (!ok) {
        env_.log(3, "Could not write %s", temporary_.c_str());
        std::remove(temporary_.c_str());
    }
    return ok;
}

bool ClientCertificateFiles::replace() {
    if (renameFile(active_, backup_) != 0) {
        env_.log(3, "Could not backup certificate");
        return false;
    }
    if (renameFile(temporary_, active_) != 0) {
        env_.log(3, "Could not replace certificate, restoring old certificate");
        if (renameFile(backup_, active_) != 0) {
            env_.log(3, "Could not restore %s; the old certificate is in %s", active_.c_str(), backup_.c_str());
        }
        return false;
    }
    return true;
}

}  // namespace dorel_remote_control
