#include "net/cached_get.h"

#include <algorithm>

namespace base {

namespace {

bool hasUpperCase(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// HTTP/2 has all names in lower case; elsewhere the exact name counts.
std::string lastModifiedOf(const HttpHeaders& headers) {
    const bool isFolded =
        std::none_of(headers.begin(), headers.end(), [](const auto& header) { return hasUpperCase(header.first); });
    const auto found = headers.find(isFolded ? "last-modified" : "Last-Modified");
    return found == headers.end() ? std::string() : found->second;
}

}  // namespace

bool getUrlCached(dockset::PlatformCache& cache, const HttpGet& httpGet, const std::string& url, Bytes& data,
                  bool* fresh, bool useCache, bool keepStale, bool noPinning, const CancelWord* cancelFlag,
                  std::string* detail) {
    if (detail != nullptr) {
        detail->clear();
    }
    *fresh = false;
    std::string lastModified;
    const bool isCached = useCache && cache.get(url, data, lastModified);
    HttpHeaders headers;
    if (isCached && !lastModified.empty()) {
        headers["If-Modified-Since"] = lastModified;
    }
    HttpHeaders responseHeaders;
    Bytes response;
    const std::int32_t status = httpGet(url, headers, responseHeaders, response, noPinning, cancelFlag, detail);
    if (status == 200) {
        if (useCache) {
            cache.put(url, response, lastModifiedOf(responseHeaders));
        }
        data = std::move(response);
        *fresh = true;
        return true;
    }
    *fresh = isCached && status == 304;
    if (*fresh || (isCached && keepStale)) {
        return true;
    }
    data.clear();
    return false;
}

}  // namespace base
