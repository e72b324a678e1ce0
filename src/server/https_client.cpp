// The agent's one HTTPS client: every XML exchange with the remote-control
// server goes through the easy handle held here. The handle is reset and
// configured afresh before each request, so certificates and credentials
// changed on the headend take effect without a restart, while libcurl may
// still reuse an open connection.
#include "server/https_client.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "common/env.h"
#include "common/errors.h"
#include "server/client_certificate.h"
#include "server/settings.h"

namespace dorel_remote_control {

namespace {

constexpr long kHttpOk = 200;

// What a moved-from buffer points at: a valid empty text that is never freed.
char kEmptyText[1] = {'\0'};

struct SlistDeleter {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, SlistDeleter>;

// The two headers of every XML POST, in the order the server has always seen.
HeaderList xmlHeaders() {
    static const char* const kHeaders[] = {
        "Accept: application/xml",
        "Content-Type: application/xml",
    };
    HeaderList list;
    for (const char* header : kHeaders) {
        curl_slist* grown = curl_slist_append(list.get(), header);
        if (!grown) throw CurlError("Could not build the request headers");
        list.release();
        list.reset(grown);
    }
    return list;
}

}  // namespace

// ---------------------------------------------------------------- buffer --

ResponseBuffer::ResponseBuffer()
    : data_(static_cast<char*>(std::malloc(1))), length_(0) {
    if (!data_) throw std::bad_alloc();
    data_[0] = '\0';
}

ResponseBuffer::~ResponseBuffer() {
    if (data_ != kEmptyText) std::free(data_);
}

ResponseBuffer::ResponseBuffer(ResponseBuffer&& other) noexcept
    : data_(other.data_), length_(other.length_) {
    other.data_ = kEmptyText;
    other.length_ = 0;
}

ResponseBuffer& ResponseBuffer::operator=(ResponseBuffer&& other) noexcept {
    if (this != &other) {
        std::swap(data_, other.data_);
        std::swap(length_, other.length_);
    }
    return *this;
}

size_t ResponseBuffer::append(char* chunk, size_t size, size_t count, void* buffer) {
    auto* self = static_cast<ResponseBuffer*>(buffer);
    // Refusing a chunk (returning less than its size) aborts the transfer
    // with a write error: the only sane answer to a body whose length does
    // not even fit the counters.
    if (count != 0 && size > std::numeric_limits<size_t>::max() / count) return 0;
    const size_t chunkSize = size * count;
    const size_t limit = std::min<size_t>(std::numeric_limits<uint32_t>::max(),
                                          std::numeric_limits<size_t>::max());
    if (chunkSize >= limit - self->length_) return 0;

    char* old = self->data_ == kEmptyText ? nullptr : self->data_;
    char* grown = static_cast<char*>(std::realloc(old, self->length_ + chunkSize + 1));
    if (!grown) {
        // Out of memory in the middle of a transfer leaves the controller in
        // no state to go on; a clean restart by the supervisor is better.
        if (self->env_ != nullptr) self->env_->log(3, "not enough memory (realloc returned NULL)");
        std::exit(1);
    }
    self->data_ = grown;
    if (chunkSize) std::memcpy(self->data_ + self->length_, chunk, chunkSize);
    self->length_ += static_cast<uint32_t>(chunkSize);
    self->data_[self->length_] = '\0';
    return chunkSize;
}

// ---------------------------------------------------------------- client --

HttpsClient& HttpsClient::instance() {
    // Built on first use, destroyed at process exit. A failed construction
    // is retried by the next call.
    static HttpsClient client;
    return client;
}

HttpsClient::HttpsClient() : curl_(nullptr), errorBuffer_{} {
    curl_global_init(CURL_GLOBAL_ALL);
    curl_ = curl_easy_init();
    if (!curl_) {
        curl_global_cleanup();
        throw CurlError("Could not initialize libcurl");
    }
}

HttpsClient::~HttpsClient() {
    // exit() from inside a write callback lands here with the handle still
    // in use by curl_easy_perform; cleaning it up then is not allowed, and
    // the process is going away anyway.
    if (transferring_) return;
    curl_easy_cleanup(curl_);
    curl_global_cleanup();
}

void HttpsClient::reconfigure(Env& env) {
    env.log(7, "Reconfiguring curl");
    const Paths& paths = env.paths();
    curl_easy_reset(curl_);
    errorBuffer_[0] = '\0';
    // libcurl copies every string option, so the temporaries may go.
    curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(curl_, CURLOPT_SSLCERT, paths.clientCert().c_str());
    curl_easy_setopt(curl_, CURLOPT_SSLKEY, paths.clientKey().c_str());
    curl_easy_setopt(curl_, CURLOPT_CAINFO, paths.caChain().c_str());
    curl_easy_setopt(curl_, CURLOPT_CAPATH, paths.caPath().c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(curl_, CURLOPT_USERNAME, settings().user().c_str());
    curl_easy_setopt(curl_, CURLOPT_PASSWORD, settings().password().c_str());
    curl_easy_setopt(curl_, CURLOPT_ERRORBUFFER, errorBuffer_);
    curl_easy_setopt(curl_, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl_, CURLOPT_LOW_SPEED_TIME, static_cast<long>(env.transferStallSeconds()));
}

void HttpsClient::dropConnections(Env& env) {
    CURL* fresh = curl_easy_init();
    if (!fresh) {
        env.log(3, "Could not initialize libcurl: open connections kept");
        return;
    }
    curl_easy_cleanup(curl_);
    curl_ = fresh;
}

std::string HttpsClient::transferError(CURLcode code) const {
    return "Error sending http request(" + std::to_string(static_cast<int>(code)) +
           "): " + curl_easy_strerror(code) + ": " + errorBuffer_;
}

void HttpsClient::requireOk(Env& env) {
    long status = 0;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    env.log(7, "Response code: %ld", status);
    if (status != kHttpOk) throw CurlError("Invalid response code: " + std::to_string(status));
}

namespace {

// How a server refuses a client certificate: it ends the handshake (TLS
// 1.2), or, under TLS 1.3, sends an alert after it and closes, which the
// client may read or may see as a reset of the connection, or an empty
// reply; libcurl itself fails when it cannot load the certificate. A
// connection that was never made (refused, timed out, no route) is none of
// these. A renewal refused wrongly costs only the previous certificate
// back; one kept wrongly cuts the controller off.
bool refusedClientCertificate(CURLcode code) {
    return code == CURLE_SSL_CERTPROBLEM || code == CURLE_SSL_CONNECT_ERROR || code == CURLE_RECV_ERROR ||
           code == CURLE_SEND_ERROR || code == CURLE_GOT_NOTHING;
}

}  // namespace

ResponseBuffer HttpsClient::request(Env& env, const std::string& url, const char* body,
                                    const std::function<std::string()>& bodyAfterRollback) {
    try {
        ResponseBuffer response = perform(env, url, body);
        if (renewal_ != Renewal::kNone) {
            ClientCertificateFiles(env).confirmRenewal();
            renewal_ = Renewal::kNone;
        }
        return response;
    } catch (const CurlError&) {
        if (!refusedClientCertificate(lastCode_) || !rollBackRenewal(env)) throw;
    }
    std::string replacement;
    if (bodyAfterRollback) {
        replacement = bodyAfterRollback();
        body = replacement.c_str();
    }
    return perform(env, url, body);
}

bool HttpsClient::rollBackRenewal(Env& env) {
    if (renewal_ == Renewal::kNone) return false;
    renewal_ = Renewal::kNone;
    ClientCertificateFiles files(env);
    if (!files.renewalUnconfirmed() || !files.rollBack()) return false;
    dropConnections(env);
    return true;
}

ResponseBuffer HttpsClient::perform(Env& env, const std::string& url, const char* body) {
    reconfigure(env);
    env.log(6, "Requesting: %s", url.c_str());

    ResponseBuffer response;
    response.env_ = &env;
    CURLcode code = curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    if (code != CURLE_OK) {
        // The transfer below reports the same problem as its own error.
        env.log(3, "%s", transferError(code).c_str());
    }
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &ResponseBuffer::append);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &response);

    // Outlives the transfer and is freed on every way out of here; the
    // handle's pointer to it is dropped by the reset before the next use.
    HeaderList headers;
    if (body) {
        curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, body);
        // Spelled out so that an empty document is still a POST.
        if (*body == '\0') curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE, 0L);
        headers = xmlHeaders();
        curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers.get());
    }

    transferring_ = true;
    code = curl_easy_perform(curl_);
    transferring_ = false;
    lastCode_ = code;
    if (code != CURLE_OK) throw CurlError(transferError(code));

    requireOk(env);
    response.env_ = nullptr;

    // Debugging aid for a controller run in the foreground.
    std::fwrite(response.data(), 1, response.size(), stdout);
    std::fputc('\n', stdout);
    return response;
}

}  // namespace dorel_remote_control
