#include "agent/http_handler_win32.h"

#include "platform/platform_win32.h"

namespace agent {

using base::Bytes;
using base::CancelWord;
using base::HttpHeaders;

namespace {

constexpr std::int32_t noPlatform = -2;

}  // namespace

AgentWin32HttpHandler::AgentWin32HttpHandler() : platform_(std::make_unique<dockset::PlatformWin32>(nullptr)) {}

bool AgentWin32HttpHandler::getUrlCached(const std::string& url, Bytes& data, bool* fresh, bool useCache,
                                         bool keepStale, bool noPinning, const CancelWord* cancelFlag,
                                         std::string* detail) {
    return platform_ && platform_->getUrlCached(url, data, fresh, useCache, keepStale, noPinning, cancelFlag, detail);
}

bool AgentWin32HttpHandler::postUrl(const std::string& url, const Bytes& body, Bytes& response, bool noPinning,
                                    const CancelWord* cancelFlag) {
    return platform_ && platform_->postUrl(url, body, response, noPinning, cancelFlag);
}

std::int32_t AgentWin32HttpHandler::httpPost(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                             HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                             const CancelWord* cancelFlag) {
    return platform_ ? platform_->httpPost(url, headers, body, responseHeaders, response, noPinning, cancelFlag)
                     : noPlatform;
}

std::int32_t AgentWin32HttpHandler::httpPut(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                            HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                            const CancelWord* cancelFlag) {
    return platform_ ? platform_->httpPut(url, headers, body, responseHeaders, response, noPinning, cancelFlag)
                     : noPlatform;
}

std::int32_t AgentWin32HttpHandler::httpGet(const std::string& url, const HttpHeaders& headers,
                                            HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                            const CancelWord* cancelFlag, std::string* detail) {
    return platform_ ? platform_->httpGet(url, headers, responseHeaders, response, noPinning, cancelFlag, detail)
                     : noPlatform;
}

std::int32_t AgentWin32HttpHandler::httpDelete(const std::string& url, const HttpHeaders& headers,
                                               HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                               const CancelWord* cancelFlag) {
    return platform_ ? platform_->httpDelete(url, headers, responseHeaders, response, noPinning, cancelFlag)
                     : noPlatform;
}

}  // namespace agent
