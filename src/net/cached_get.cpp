#include "net/cached_get.h"

#include <algorithm>

#include "base/log_receiver.h"
#include "data/xml_value.h"

namespace base {

namespace {

bool hasUpperCase(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// The index of the cache can't be read again with anything else in it, and a date has nothing else. One in a damaged
// index could end the header that it goes into, and begin another.
bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// HTTP/2 has all names in lower case; elsewhere the exact name counts, as the record of headers keeps names that differ
// in case apart.
std::string lastModifiedOf(const HttpHeaders& headers) {
    const bool isFolded =
        std::none_of(headers.begin(), headers.end(), [](const auto& header) { return hasUpperCase(header.first); });
    const auto found = headers.find(isFolded ? "last-modified" : "Last-Modified");
    return found == headers.end() || !isPrintable(found->second) ? std::string() : found->second;
}

// A server's page or a cut document in place of the one asked for is no newer copy of it.
bool isWellFormed(const std::string& url, const Bytes& response) {
    const std::string path = url.substr(0, url.find_first_of("?#"));
    return !path.ends_with(".xml") || data::parseXml(response.data(), response.size()).type != data::ValueType::Null;
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
    if (isCached && !lastModified.empty() && isPrintable(lastModified)) {
        headers["If-Modified-Since"] = lastModified;
    }
    HttpHeaders responseHeaders;
    Bytes response;
    const std::int32_t status = httpGet(url, headers, responseHeaders, response, noPinning, cancelFlag, detail);
    const bool isUsable = status == 200 && (!isCached || isWellFormed(url, response));
    if (status == 200 && !isUsable) {
        logMessage("HttpHandler", "The copy in the cache stays, since the answer isn't a document: " + url);
    }
    if (isUsable) {
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
