// Addresses: the parts that the network code takes out of one are those of the library that makes the requests.
#include "net/url.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>

#include "fuzz.h"
#include "net/certificate_set.h"

namespace {

struct Release {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
    void operator()(char* text) const { curl_free(text); }
};

std::string partOf(CURLU* url, CURLUPart part) {
    char* text = nullptr;
    const bool isThere = curl_url_get(url, part, &text, CURLU_DEFAULT_PORT) == CURLUE_OK;
    const std::unique_ptr<char, Release> owner(text);
    return isThere ? text : "";
}

// A name, and no user's before it; addresses in numbers can be written in many ways.
bool isUsual(const std::string& authority) {
    return authority.find_first_of("abcdefghijklmnopqrstuvwxyz") == 0 && std::ranges::all_of(authority, [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == ':';
           });
}

}  // namespace

FUZZ_TARGET(url) {
    const std::string url(fuzz::textOf(input));
    const base::UrlParts parts = base::parseUrl(url);
    fuzz::require(parts.path.starts_with('/'), "a path begins at the root");
    fuzz::require(parts.host.find_first_of(":/") == std::string::npos, "a host has no port");
    fuzz::require(url.find(parts.host) != std::string::npos, "a host stands in the address");
    fuzz::require(base::certificateSetFor(url) == base::certificateSetFor("x://" + parts.host),
                  "the host alone counts");
    const auto end = url.find_first_of("/?#", std::min(url.find("://"), url.size() - 3) + 3);
    const std::string authority = parts.https ? url.substr(8, end - 8) : "";
    const std::unique_ptr<CURLU, Release> curl(curl_url());
    if (!isUsual(authority) || curl_url_set(curl.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK) {
        return;
    }
    const std::string host = partOf(curl.get(), CURLUPART_HOST);
    fuzz::require(parts.host.starts_with(host), "the host is the one that is asked");
    fuzz::require(std::to_string(parts.port) == partOf(curl.get(), CURLUPART_PORT) || url[end] != '/',
                  "so is the port");
}
