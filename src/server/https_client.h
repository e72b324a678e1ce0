// The one HTTPS client of the process: a libcurl easy handle that is reset and
// configured anew before every request (client certificate, key, CA chain and
// directory, basic authentication with the current settings), so a changed
// password or certificate is used by the very next request.
#pragma once

#include <curl/curl.h>

#include <cstdint>
#include <functional>
#include <string>

namespace dorel_remote_control {

class Env;

// A response body, always NUL-terminated so it can go straight to the XML
// parser. Owns its memory.
class ResponseBuffer {
public:
    ResponseBuffer();
    ~ResponseBuffer();
    ResponseBuffer(ResponseBuffer&& other) noexcept;
    ResponseBuffer& operator=(ResponseBuffer&& other) noexcept;
    ResponseBuffer(const ResponseBuffer&) = delete;
    ResponseBuffer& operator=(const ResponseBuffer&) = delete;

    const char* data() const { return data_; }
    uint32_t size() const { return length_; }
    std::string str() const { return std::string(data_, length_); }

    // libcurl write callback: appends a chunk. Running out of memory here ends
    // the process with status 1 (logged), by design.
    static size_t append(char* chunk, size_t size, size_t count, void* buffer);

private:
    friend class HttpsClient;
    char* data_;
    uint32_t length_;
    Env* env_ = nullptr;   // where the transfer filling it logs
};

class HttpsClient {
public:
    // The process-wide client, created on first use (throws CurlError "Could
    // not initialize libcurl" when no handle can be made).
    static HttpsClient& instance();

    // POSTs body with the XML headers, or GETs without them when body is null.
    // Returns the body of a 200 answer; throws CurlError for a transfer error
    // or any other status. When the server refuses the client certificate
    // and that certificate is a renewal it has not accepted before, the
    // previous certificate is put back (once; see ClientCertificateFiles) and
    // the request is made again with it, with the body bodyAfterRollback
    // gives when there is one.
    ResponseBuffer request(Env& env, const std::string& url, const char* body,
                           const std::function<std::string()>& bodyAfterRollback = nullptr);

    // Resets the handle and sets the certificate, CA and authentication
    // options and the stall guard (Env::transferStallSeconds).
    void reconfigure(Env& env);

    // After a transfer: logs the HTTP status and throws CurlError "Invalid
    // response code: N" for anything but 200.
    void requireOk(Env& env);

    // Starts again with a new handle, so that no open connection or cached
    // TLS session made with the old client certificate is reused: the next
    // request then presents the certificate that is on disk now. Keeps the
    // old handle when no new one can be made.
    void dropConnections(Env& env);
    // A renewed certificate was installed: the next answer confirms it.
    void noteRenewal() { renewal_ = Renewal::kPending; }

    CURL* handle() { return curl_; }

    // The text of a failed transfer: "Error sending http request(<code>):
    // <libcurl's text>: <error buffer>". Shared with the download.
    std::string transferError(CURLcode code) const;

    ~HttpsClient();
    HttpsClient(const HttpsClient&) = delete;
    HttpsClient& operator=(const HttpsClient&) = delete;

private:
    HttpsClient();
    ResponseBuffer perform(Env& env, const std::string& url, const char* body);
    // After a refused handshake: puts the previous certificate back when the
    // refused one is an unconfirmed renewal; true when it did.
    bool rollBackRenewal(Env& env);

    CURL* curl_;
    CURLcode lastCode_ = CURLE_OK;
    // Whether a renewal may wait for the server's acceptance; unknown until
    // the first answer after start, so a steady pass looks at no file.
    enum class Renewal { kUnknown, kNone, kPending } renewal_ = Renewal::kUnknown;
    char errorBuffer_[CURL_ERROR_SIZE];
    // Set while a request's transfer runs, so that an exit from inside a
    // write callback does not clean up the handle libcurl is still using.
    bool transferring_ = false;
};

}  // namespace dorel_remote_control
