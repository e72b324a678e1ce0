// Installing a new client certificate without ever losing the one in use: the
// new text goes to ".crt.tmp", the active ".crt" becomes ".crt.bak", and the
// new file takes its place; when that last step fails the backup is moved
// back. After a successful swap the previous certificate stays in ".crt.bak".
#pragma once

#include <string>

namespace dorel_remote_control {

class Env;

enum class CertificateInstall {
    kInstalled,
    kNotSaved,     // ".crt.tmp" could not be written; nothing else touched
    kNotReplaced,  // the swap gave up; the active certificate is the old one
};

class ClientCertificateFiles {
public:
    // The agent's own files (".crt" is the transport's client certificate).
    explicit ClientCertificateFiles(Env& env);
    virtual ~ClientCertificateFiles() = default;

    CertificateInstall install(const std::string& certificateText);

    const std::string& active() const { return active_; }
    const std::string& temporary() const { return temporary_; }
    const std::string& backup() const { return backup_; }

protected:
    // std::rename; a seam for the failures a test cannot make on disk.
    virtual int renameFile(const std::string& from, const std::string& to);

private:
    bool writeTemporary(const std::string& certificateText);
    bool replace();

    Env& env_;
    std::string active_;
    std::string temporary_;
    std::string backup_;
};

}  // namespace dorel_remote_control
