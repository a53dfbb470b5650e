#include "net/curl_callbacks.h"

#include <openssl/ssl.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "net/http_request.h"
#include "net/pinning.h"

namespace base {

namespace {

HTTPReqInfo& requestOf(void* record) { return *static_cast<HTTPReqInfo*>(record); }

std::string_view trimHeaderText(std::string_view text, std::string_view atEnd) {
    text.remove_prefix(std::min(text.find_first_not_of(" \n\r\t"), text.size()));
    return text.substr(0, text.find_last_not_of(atEnd) + 1);
}

void storeHeader(std::string_view line, HttpHeaders& headers) {
    const auto colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0 || line.size() - colon <= 2) {
        return;
    }
    const std::string_view name = trimHeaderText(line.substr(0, colon), " \n\r\t");
    const std::string_view value = trimHeaderText(line.substr(colon + 1), "\n\r");
    if (!name.empty() && !value.empty()) {
        headers.insert_or_assign(std::string(name), std::string(value));
    }
}

// The answer to a CONNECT comes before there is a response code; it isn't the server's.
bool isOfProxy(const HTTPReqInfo& request) {
    long code = 0;
    return curl_easy_getinfo(request.curlHandle, CURLINFO_RESPONSE_CODE, &code) == CURLE_OK && code == 0;
}

void followHead(std::string_view line, bool& isInHead) {
    isInHead = line.starts_with("HTTP/") || (isInHead && line != "\r\n" && line != "\n");
}

// An interim 100 isn't the answer's status, nor is the 0 that libcurl gives for a proxy's answer to CONNECT.
void noteStatus(HTTPReqInfo& request) {
    long code = 0;
    if (request.status < 1 && !request.responseHeaders.empty() &&
        curl_easy_getinfo(request.curlHandle, CURLINFO_RESPONSE_CODE, &code) == CURLE_OK && code > 0 && code != 100) {
        request.status = static_cast<std::int32_t>(code);
    }
}

// An answer without a length ends with its connection: only the server's own word tells that from a cut one.
void onTlsEvent(const SSL* tls, int event, int alert) {
    constexpr int description = 0xFF;
    const SSL_CTX* const context = SSL_get_SSL_CTX(tls);
    auto* const request = static_cast<HTTPReqInfo*>(SSL_CTX_get_ex_data(context, 0));
    if (event == SSL_CB_READ_ALERT && (alert & description) == SSL3_AD_CLOSE_NOTIFY && request != nullptr &&
        request->serverContext == context) {
        request->closeAnnounced = true;
    }
}

void trustSystemRoots(SSL_CTX* context, CertificatePins& pins) {
    if (X509_STORE* const store = SSL_CTX_get_cert_store(context)) {
        for (X509* const root : pins.systemRoots()) {
            X509_STORE_add_cert(store, root);
        }
    }
}

}  // namespace

std::size_t onReadBody(char* buffer, std::size_t size, std::size_t count, void* record) {
    HTTPReqInfo& request = requestOf(record);
    std::size_t taken = 0;
    {
        const std::lock_guard lock(request.mutex);
        taken = std::min(size * count, request.uploadSize - request.uploadPosition);
        if (taken > 0) {
            std::memcpy(buffer, request.uploadData + request.uploadPosition, taken);
            request.uploadPosition += taken;
        }
    }
    request.changed.notify_all();
    return taken;
}

std::size_t onWriteBody(char* bytes, std::size_t size, std::size_t count, void* record) {
    HTTPReqInfo& request = requestOf(record);
    try {
        const std::lock_guard lock(request.mutex);
        request.responseStarted = true;
        if (request.responseBody.size() + size * count > request.bodyLimit) {
            request.bodyTooLong = true;
            return 0;  // ends the transfer
        }
        request.responseBody.insert(request.responseBody.end(), bytes, bytes + size * count);
    } catch (const std::bad_alloc&) {
        return 0;
    }
    request.changed.notify_all();
    if (request.bodyArrived) {
        request.bodyArrived(request);
    }
    return size * count;
}

std::size_t onHeaderLine(char* line, std::size_t size, std::size_t count, void* record) {
    HTTPReqInfo& request = requestOf(record);
    const std::string_view text(line, size * count);
    {
        const std::lock_guard lock(request.mutex);
        followHead(text, request.isInHead);
        const bool wasOfProxy = std::exchange(request.headersOfProxy, isOfProxy(request));
        if (wasOfProxy && !request.headersOfProxy) {
            request.responseHeaders.clear();
        }
        if (text.starts_with("HTTP/")) {
            request.responseHeaders.clear();  // those of an interim answer
        } else if (request.isInHead) {        // not those behind the body
            storeHeader(text, request.responseHeaders);
        }
        noteStatus(request);
    }
    request.changed.notify_all();
    return text.size();
}

int onProgress(void* record, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    HTTPReqInfo& request = requestOf(record);
    const bool isCancelled = request.cancelFlag != nullptr && (request.cancelFlag->load() & 1U) != 0;
    if (!isCancelled && (!request.goesOn || request.goesOn(request))) {
        return 0;
    }
    request.changed.notify_all();
    return 1;
}

CURLcode onSslContext(CURL*, void* sslContext, void* record) {
    auto* const context = static_cast<SSL_CTX*>(sslContext);
    const auto pins = certificatePins().get();
    if (context == nullptr || !pins) {
        return CURLE_OK;
    }
    const std::lock_guard pinLock(pinMutex());
    if (record != nullptr) {
        HTTPReqInfo& request = requestOf(record);
        SSL_CTX_set_ex_data(context, 0, &request);
        SSL_CTX_set_info_callback(context, onTlsEvent);
        request.serverContext = context;  // a proxy's connection comes before the server's
        const std::lock_guard lock(request.mutex);
        request.pinMatched = false;  // a proxy's chain, if it was spoken to over TLS, says nothing of the server's
        if (!request.pinnedKeys.empty()) {
            SSL_CTX_set_verify(context, SSL_VERIFY_PEER, pins->verifyCallback());
        }
    }
    trustSystemRoots(context, *pins);
    return CURLE_OK;
}

}  // namespace base
