#include "commands/maintenance/certificate_check.h"

#include <climits>
#include <memory>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace dorel_remote_control {

namespace {

const char kNotPem[] = "Received certificate is not a PEM certificate";
const char kOtherKey[] = "Received certificate does not match the controller's key";
const char kNoKey[] = "Could not read the controller's key";

struct BioFree {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
struct X509Free {
    void operator()(X509* cert) const { X509_free(cert); }
};
struct PkeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using BioPtr = std::unique_ptr<BIO, BioFree>;
using X509Ptr = std::unique_ptr<X509, X509Free>;
using PkeyPtr = std::unique_ptr<EVP_PKEY, PkeyFree>;

// Empty on the way in, so that only this check's errors are looked at, and
// on every way out, so that none of them is reported by the transport later.
class ErrorQueueScope {
public:
    ErrorQueueScope() { ERR_clear_error(); }
    ~ErrorQueueScope() { ERR_clear_error(); }
    ErrorQueueScope(const ErrorQueueScope&) = delete;
    ErrorQueueScope& operator=(const ErrorQueueScope&) = delete;
};

// OpenSSL's default would ask for a passphrase on the terminal, holding the
// agent; an encrypted block (a server can send one) fails instead.
int noPassphrase(char*, int, int, void*) { return -1; }

// The chain after the client certificate, read as the transport reads it: to
// the end of the text, where the reader finds no further certificate.
bool chainReadable(BIO* bio) {
    while (X509Ptr(PEM_read_bio_X509(bio, nullptr, noPassphrase, nullptr))) {
    }
    const unsigned long error = ERR_peek_last_error();
    return ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
}

}  // namespace

std::string checkReceivedCertificate(const std::string& certificateText, const std::string& keyPath) {
    ErrorQueueScope errors;
    if (certificateText.size() > static_cast<size_t>(INT_MAX)) return kNotPem;

    BioPtr text(BIO_new_mem_buf(certificateText.data(), static_cast<int>(certificateText.size())));
    if (!text) return kNotPem;
    // The reader the transport takes for the client certificate (it also
    // accepts a "TRUSTED CERTIFICATE" block there).
    const X509Ptr certificate(PEM_read_bio_X509_AUX(text.get(), nullptr, noPassphrase, nullptr));
    if (!certificate || !chainReadable(text.get())) return kNotPem;

    const BioPtr keyFile(BIO_new_file(keyPath.c_str(), "r"));
    if (!keyFile) return kNoKey;
    const PkeyPtr key(PEM_read_bio_PrivateKey(keyFile.get(), nullptr, noPassphrase, nullptr));
    if (!key) return kNoKey;

    if (X509_check_private_key(certificate.get(), key.get()) != 1) return kOtherKey;
    return std::string();
}

}  // namespace dorel_remote_control
