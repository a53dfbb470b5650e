// The operating system as the code sees it that the suite's programs share.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "net/http_provider.h"

namespace dockset {

// Nothing throws, and any thread may call, unless an operation says otherwise. The HTTP operations block until the
// answer is there in memory. `noPinning` allows plain http and any valid chain; `cancelFlag` and `detail` may be null.
// A status is that of HTTP, or -1 if there was none or the transfer broke.
class Platform {
public:
    Platform() = default;
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    // True if `data` holds something to use; see net/cached_get.h.
    virtual bool getUrlCached(const std::string& url, base::Bytes& data, bool* fresh, bool useCache, bool keepStale,
                              bool noPinning, const base::CancelWord* cancelFlag, std::string* detail) = 0;
    // True for a status from 200 to 299.
    virtual bool postUrl(const std::string& url, const base::Bytes& body, base::Bytes& response, bool noPinning,
                         const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpPost(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                                  base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                  const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpPut(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                                 base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                 const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpDelete(const std::string& url, const base::HttpHeaders& headers,
                                    base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                    const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpGet(const std::string& url, const base::HttpHeaders& headers,
                                 base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                 const base::CancelWord* cancelFlag, std::string* detail) = 0;
    // Never null.
    virtual std::shared_ptr<base::PlatformHttpProvider> createHttpProvider() = 0;

    // The language and country of the user interface, "de-DE"; "en-US" if the system doesn't tell.
    virtual std::string getLocale() = 0;
    // The user's languages, the preferred one first; at least one.
    virtual std::vector<std::string> getPreferredLocales() = 0;

    virtual ~Platform() = default;
};

}  // namespace dockset
