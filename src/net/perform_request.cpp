// libcurl wants CURLOPT_UPLOAD in place of CURLOPT_PUT, which it keeps.
#define CURL_DISABLE_DEPRECATION

#include "net/perform_request.h"

#include <openssl/x509_vfy.h>

#include <algorithm>
#include <memory>

#include "base/log_receiver.h"
#include "base/text.h"
#include "net/curl_callbacks.h"
#include "net/pinning.h"
#include "net/proxy.h"
#include "net/request_checks.h"
#include "net/url.h"
#include "net/usage_event.h"

namespace base {

namespace {

constexpr const char* defaultUserAgent = "Zelmo Dockset Win/2.18.6.0";

// Of an answer that is kept in memory as a whole.
constexpr std::size_t longestBody = 100'000'000;

void logCurl(const std::string& operation, CURLcode code) {
    logMessage("CURLHTTP", operation + " returned " + curl_easy_strerror(code));
}

struct FreeHeaderLines {
    void operator()(curl_slist* lines) const { curl_slist_free_all(lines); }
};

// One transfer: its libcurl handle and what that handle refers to.
class Transfer {
public:
    Transfer(const std::string& url, HTTPReqInfo& record);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer();

    bool isReady() const { return handle_ != nullptr; }
    // In the order in which the options are to be set.
    void setHeaders(const HttpHeaders& headers);
    void setProgress();
    void setProxy();
    void setMethod(const std::string& method, const Bytes& body);
    void setCallbacks();
    void setPins(bool noPinning);
    void setUserAgent();

    // Gives the status and leaves it in the record.
    std::int32_t perform();

private:
    template <typename T>
    CURLcode set(CURLoption option, T value) {
        return curl_easy_setopt(handle_, option, value);
    }
    void setUpload(const Bytes& body);
    // Under the record's mutex, as are those below.
    std::int32_t status() const;
    bool isRejected() const;
    // Whether only the connection's end has ended the answer, and nobody has said that this was it.
    bool mayBeCut() const;
    void noteFailure(CURLcode code);
    void explain(CURLcode code) const;

    CURL* const handle_;
    std::unique_ptr<curl_slist, FreeHeaderLines> headerLines_;
    const std::string& url_;
    HTTPReqInfo& record_;
    std::string userAgent_ = defaultUserAgent;
    std::string proxy_;
};

Transfer::Transfer(const std::string& url, HTTPReqInfo& record)
    : handle_(curl_easy_init()), url_(url), record_(record) {
    if (handle_ == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(record_.mutex);
        record_.curlHandle = handle_;
    }
    set(CURLOPT_URL, url_.c_str());
}

Transfer::~Transfer() {
    {
        const std::lock_guard lock(record_.mutex);
        record_.curlHandle = nullptr;
    }
    curl_easy_cleanup(handle_);
}

void Transfer::setHeaders(const HttpHeaders& headers) {
    for (const auto& [name, value] : headers) {
        std::string line = name;
        line.append(": ").append(value);
        if (curl_slist* const lines = curl_slist_append(headerLines_.get(), line.c_str())) {
            static_cast<void>(headerLines_.release());
            headerLines_.reset(lines);
        }
        if (toLower(name) == "user-agent" && !value.empty()) {
            userAgent_ = value;
        }
    }
    if (!headerLines_) {
        return;
    }
    if (const CURLcode code = set(CURLOPT_HTTPHEADER, headerLines_.get()); code != CURLE_OK) {
        logCurl("curl_easy_setopt CURLOPT_HTTPHEADER", code);
    }
}

void Transfer::setProgress() {
    set(CURLOPT_XFERINFOFUNCTION, onProgress);
    set(CURLOPT_XFERINFODATA, &record_);
    set(CURLOPT_NOPROGRESS, 0L);
}

void Transfer::setProxy() {
    proxy_ = chooseProxy(*dockset::AppSettings::instance(), url_, userAgent_);
    if (!proxy_.empty()) {
        set(CURLOPT_PROXY, proxy_.c_str());
    }
}

void Transfer::setMethod(const std::string& method, const Bytes& body) {
    if (method == "POST") {
        set(CURLOPT_POST, 1L);
    } else if (method == "PUT") {
        set(CURLOPT_PUT, 1L);
        if (!body.empty()) {
            set(CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(body.size()));
        }
    } else if (method == "DELETE") {
        set(CURLOPT_CUSTOMREQUEST, "DELETE");
    }
    if ((method == "POST" || method == "PUT") && !body.empty()) {
        setUpload(body);
    }
}

void Transfer::setUpload(const Bytes& body) {
    set(CURLOPT_READFUNCTION, onReadBody);
    set(CURLOPT_READDATA, &record_);
    {
        const std::lock_guard lock(record_.mutex);
        record_.uploadData = body.data();
        record_.uploadSize = body.size();
    }
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
}

void Transfer::setCallbacks() {
    set(CURLOPT_WRITEFUNCTION, onWriteBody);
    set(CURLOPT_WRITEDATA, &record_);
    set(CURLOPT_HEADERFUNCTION, onHeaderLine);
    set(CURLOPT_HEADERDATA, &record_);
    set(CURLOPT_SSL_CTX_FUNCTION, onSslContext);
    set(CURLOPT_SSL_CTX_DATA, &record_);
}

void Transfer::setPins(bool noPinning) {
    if (noPinning) {
        return;
    }
    const std::vector<Bytes> keys = requiredKeysFor(url_);
    const std::lock_guard lock(record_.mutex);
    record_.pinnedKeys.insert(record_.pinnedKeys.end(), keys.begin(), keys.end());
}

void Transfer::setUserAgent() { set(CURLOPT_USERAGENT, userAgent_.c_str()); }

std::int32_t Transfer::perform() {
    logMessage("CURLHTTP", "URL: \"" + url_ + "\"");
    CURLcode code = curl_easy_perform(handle_);
    std::string rejectedChain;
    std::int32_t result = -1;
    {
        const std::lock_guard lock(record_.mutex);
        if (code == CURLE_OK && (record_.isInHead || mayBeCut())) {
            code = CURLE_PARTIAL_FILE;  // libcurl takes a connection's end for that of a head without a length
        }
        if (code == CURLE_OK) {
            result = record_.status = status();
        } else {
            noteFailure(code);
        }
        if (isRejected()) {
            rejectedChain = record_.chainText;
        }
    }
    if (!rejectedChain.empty()) {
        reportUsageEvent({.category = "CertificatePinning",
                          .action = "Failed",
                          .label = "PinningFailed",
                          .dimensions = {{6, url_}, {7, rejectedChain}}});
    }
    return result;
}

bool Transfer::isRejected() const {
    return !record_.noPinning && !record_.pinMatched && record_.pinRejected && parseUrl(url_).https;
}

bool Transfer::mayBeCut() const {
    constexpr std::int32_t noContent = 204;
    constexpr std::int32_t notModified = 304;
    const std::int32_t answered = status();
    long version = 0;
    curl_easy_getinfo(handle_, CURLINFO_HTTP_VERSION, &version);
    const bool hasEnd =
        std::any_of(record_.responseHeaders.begin(), record_.responseHeaders.end(), [](const auto& each) {
            const std::string name = toLower(each.first);
            return name == "content-length" || name == "transfer-encoding";
        });
    return parseUrl(url_).https && version <= CURL_HTTP_VERSION_1_1 && !hasEnd && answered != noContent &&
           answered != notModified && !record_.closeAnnounced;
}

std::int32_t Transfer::status() const {
    long status = 0;
    if (const CURLcode code = curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status); code != CURLE_OK) {
        logCurl("curl_easy_getinfo CURLINFO_RESPONSE_CODE", code);
    }
    return status > 0 ? static_cast<std::int32_t>(status) : record_.status;
}

// A transfer that broke behind its status line has no status: what arrived isn't the answer.
void Transfer::noteFailure(CURLcode code) {
    logCurl("curl_easy_perform", code);
    explain(code);
    record_.failed = true;
    record_.status = -1;
    if (record_.detail == nullptr) {
        return;
    }
    if (isRejected()) {
        *record_.detail = "pinning:" + (record_.chainText.empty() ? "error" : record_.chainIssuer);
    }
    if (!proxy_.empty() && (code == CURLE_COULDNT_CONNECT || code == CURLE_COULDNT_RESOLVE_PROXY)) {
        *record_.detail = "proxy:" + proxy_;
    }
}

// What the library's own text for the code leaves open.
void Transfer::explain(CURLcode code) const {
    long verification = X509_V_OK;
    if (record_.bodyTooLong) {
        logMessage("CURLHTTP", "The answer is longer than " + std::to_string(record_.bodyLimit) + " bytes");
    } else if (isRejected()) {
        logMessage("CURLHTTP", "No certificate has a pinned key: " + record_.chainText);
    } else if (code == CURLE_PEER_FAILED_VERIFICATION &&
               curl_easy_getinfo(handle_, CURLINFO_SSL_VERIFYRESULT, &verification) == CURLE_OK &&
               verification != X509_V_OK) {
        logMessage("CURLHTTP", std::string("Certificate not accepted: ") + X509_verify_cert_error_string(verification));
    }
}

std::int32_t transfer(const std::string& method, const std::string& url, const Bytes& body, const HttpHeaders& headers,
                      bool noPinning, HTTPReqInfo& record) {
    Transfer transfer(url, record);
    if (!transfer.isReady()) {
        logMessage("HttpHandler", "CURL init failed when preparing for url: " + url);
        return -1;
    }
    transfer.setHeaders(headers);
    transfer.setProgress();
    transfer.setProxy();
    transfer.setMethod(method, body);
    transfer.setCallbacks();
    transfer.setPins(noPinning);
    transfer.setUserAgent();
    return transfer.perform();
}

}  // namespace

std::int32_t performHttpRequest(const std::string& method, const std::string& url, const Bytes& body,
                                const HttpHeaders& headers, HTTPReqInfo& record) {
    bool noPinning = false;
    {
        const std::lock_guard lock(record.mutex);
        noPinning = record.noPinning;
        if (record.detail != nullptr) {
            record.detail->clear();
        }
    }
    std::int32_t status = -1;
    if (checkRequest(method, url, noPinning)) {
        status = transfer(method, url, body, headers, noPinning, record);
    }
    {
        const std::lock_guard lock(record.mutex);
        record.responseStarted = true;
        record.finished = true;
    }
    record.changed.notify_all();
    return status;
}

std::int32_t runHttpRequest(const std::string& method, const std::string& url, const Bytes& body,
                            const HttpHeaders& headers, HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                            const CancelWord* cancelFlag, std::string* detail) {
    HTTPReqInfo record;
    record.noPinning = noPinning;
    record.cancelFlag = cancelFlag;
    record.detail = detail;
    record.bodyLimit = longestBody;
    const std::int32_t status = performHttpRequest(method, url, body, headers, record);
    response = std::move(record.responseBody);
    responseHeaders = std::move(record.responseHeaders);
    return status;
}

}  // namespace base
