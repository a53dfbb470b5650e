// The parts of an address that the network code needs.
#pragma once

#include <cstdint>
#include <string>

namespace base {

struct UrlParts {
    bool https = false;  // by the exact beginning "https://"
    std::uint16_t port = 80;
    std::string host;  // neither folded nor freed of a user name
    std::string path;  // "/" if there is none
};

// Never fails: what has no scheme begins with its host. Any thread.
UrlParts parseUrl(const std::string& url);

}  // namespace base
