// The agent's way to HTTP: hands each request on to a platform of its own.
#pragma once

#include <memory>

#include "net/http_handler.h"
#include "platform/platform.h"

namespace agent {

class AgentWin32HttpHandler final : public base::GlobalHttpHandler {
public:
    AgentWin32HttpHandler();
    // Null makes a handler that can't work.
    explicit AgentWin32HttpHandler(std::unique_ptr<dockset::Platform> platform) : platform_(std::move(platform)) {}

    bool getUrlCached(const std::string& url, base::Bytes& data, bool* fresh, bool useCache, bool keepStale,
                      bool noPinning, const base::CancelWord* cancelFlag, std::string* detail) override;
    bool postUrl(const std::string& url, const base::Bytes& body, base::Bytes& response, bool noPinning,
                 const base::CancelWord* cancelFlag) override;
    std::int32_t httpPost(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                          base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                          const base::CancelWord* cancelFlag) override;
    std::int32_t httpPut(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                         base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                         const base::CancelWord* cancelFlag) override;
    std::int32_t httpGet(const std::string& url, const base::HttpHeaders& headers, base::HttpHeaders& responseHeaders,
                         base::Bytes& response, bool noPinning, const base::CancelWord* cancelFlag,
                         std::string* detail) override;
    std::int32_t httpDelete(const std::string& url, const base::HttpHeaders& headers,
                            base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                            const base::CancelWord* cancelFlag) override;
    // Null: the agent's requests are whole ones.
    std::shared_ptr<base::PlatformHttpProvider> httpProvider() override { return nullptr; }

private:
    const std::unique_ptr<dockset::Platform> platform_;
};

}  // namespace agent
