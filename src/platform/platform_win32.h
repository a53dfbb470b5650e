// The one implementation of the platform.
#pragma once

#include <map>
#include <optional>

#include "platform/platform.h"
#include "settings/file_cache.h"

namespace dockset {

class PlatformWin32 final : public Platform {
public:
    // Reads the configuration and the texts of the user's language; what isn't there has its default. `window` is kept
    // for the programs of the suite that have one.
    explicit PlatformWin32(void* window);

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
    std::int32_t httpDelete(const std::string& url, const base::HttpHeaders& headers,
                            base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                            const base::CancelWord* cancelFlag) override;
    std::int32_t httpGet(const std::string& url, const base::HttpHeaders& headers, base::HttpHeaders& responseHeaders,
                         base::Bytes& response, bool noPinning, const base::CancelWord* cancelFlag,
                         std::string* detail) override;
    std::shared_ptr<base::PlatformHttpProvider> createHttpProvider() override;
    std::string getLocale() override;
    std::vector<std::string> getPreferredLocales() override;

private:
    void readConfiguration();
    void loadLanguageTable(const std::string& locale);

    // Fixed after construction, but for the cache, which guards itself.
    base::PlatformCacheHandler cache_;
    std::optional<std::string> languageOverride_;  // the configuration's word on the language
    std::map<std::string, std::string> languageTable_;
    [[maybe_unused]] void* const window_;
};

}  // namespace dockset
