// The transport's client certificate files. A new certificate is installed
// without ever losing the one in use: the new text goes to ".crt.tmp", the
// active ".crt" becomes ".crt.bak", and the new file takes its place; when
// that last step fails the backup is moved back. After a successful swap the
// previous certificate stays in ".crt.bak", and ".crt.renewed" marks the new
// one as not yet accepted by the server: should the server refuse it, the
// previous one is put back (once), so a bad renewal cannot cut the
// controller off for good.
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

    // Whether the certificate in use is a renewal the server has not
    // accepted yet, with its predecessor still at hand.
    bool renewalUnconfirmed() const;
    // The server accepted the certificate in use.
    void confirmRenewal();
    // Puts the previous certificate back, keeping the refused one as
    // ".crt.refused". Never again for the same renewal, whatever the outcome.
    bool rollBack();


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
    std::string renewed_;
    std::string refused_;
};

}  // namespace dorel_remote_control
