// The platform's requests.
#include "net/cached_get.h"
#include "net/http_provider_curl.h"
#include "net/perform_request.h"
#include "platform/platform_win32.h"

namespace dockset {

using base::Bytes;
using base::CancelWord;
using base::HttpHeaders;

bool PlatformWin32::getUrlCached(const std::string& url, Bytes& data, bool* fresh, bool useCache, bool keepStale,
                                 bool noPinning, const CancelWord* cancelFlag, std::string* detail) {
    const auto get = [this](auto&&... arguments) { return httpGet(arguments...); };
    return base::getUrlCached(cache_, get, url, data, fresh, useCache, keepStale, noPinning, cancelFlag, detail);
}

bool PlatformWin32::postUrl(const std::string& url, const Bytes& body, Bytes& response, bool noPinning,
                            const CancelWord* cancelFlag) {
    HttpHeaders responseHeaders;
    const std::int32_t status = httpPost(url, {}, body, responseHeaders, response, noPinning, cancelFlag);
    return status >= 200 && status <= 299;
}

std::int32_t PlatformWin32::httpPost(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                     HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                     const CancelWord* cancelFlag) {
    return base::runHttpRequest("POST", url, body, headers, responseHeaders, response, noPinning, cancelFlag, nullptr);
}

std::int32_t PlatformWin32::httpPut(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                    HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                    const CancelWord* cancelFlag) {
    return base::runHttpRequest("PUT", url, body, headers, responseHeaders, response, noPinning, cancelFlag, nullptr);
}

std::int32_t PlatformWin32::httpDelete(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                       Bytes& response, bool noPinning, const CancelWord* cancelFlag) {
    return base::runHttpRequest("DELETE", url, {}, headers, responseHeaders, response, noPinning, cancelFlag, nullptr);
}

std::int32_t PlatformWin32::httpGet(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                    Bytes& response, bool noPinning, const CancelWord* cancelFlag,
                                    std::string* detail) {
    return base::runHttpRequest("GET", url, {}, headers, responseHeaders, response, noPinning, cancelFlag, detail);
}

std::shared_ptr<base::PlatformHttpProvider> PlatformWin32::createHttpProvider() {
    return std::make_shared<base::HttpProviderCURL>();
}

}  // namespace dockset
