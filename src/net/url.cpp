#include "net/url.h"

#include <charconv>
#include <string_view>

namespace base {

namespace {

void readPort(std::string_view digits, std::uint16_t& port) {
    std::uint16_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (error == std::errc() && stop == end) {
        port = number;
    }
}

}  // namespace

UrlParts parseUrl(const std::string& url) {
    UrlParts parts;
    parts.https = url.starts_with("https://");
    parts.port = parts.https ? 443 : 80;
    std::string_view rest = url;
    if (const auto scheme = rest.find("://"); scheme != std::string_view::npos) {
        rest.remove_prefix(scheme + 3);
    }
    const auto slash = rest.find('/');
    parts.path = slash == std::string_view::npos ? "/" : rest.substr(slash);
    const std::string_view authority = rest.substr(0, slash);
    const auto colon = authority.find(':');
    parts.host = authority.substr(0, colon);
    if (colon != std::string_view::npos) {
        readPort(authority.substr(colon + 1), parts.port);
    }
    return parts;
}

}  // namespace base
