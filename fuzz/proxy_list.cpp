// The proxy lists of the system and of scripts.
#include "net/proxy_list.h"

#include <cstring>

#include "fuzz.h"

FUZZ_TARGET(proxy_list) {
    WideString list(input.size() / sizeof(WCHAR), 0);
    std::memcpy(list.data(), input.data(), list.size() * sizeof(WCHAR));
    base::SeenProxies seen;
    std::vector<base::ProxyEntry> proxies;
    base::addProxyList(seen, proxies, list);
    base::addProxyList(seen, proxies, base::widen(fuzz::textOf(input)));
    fuzz::require(seen.size() == proxies.size(), "each proxy comes once");
    for (base::ProxyEntry& proxy : proxies) {
        fuzz::require(!proxy["address"].empty() && base::isPlain(base::widen(proxy["address"])), "visible ASCII alone");
        fuzz::require(proxy["address"].find_first_of(":;") == std::string::npos, "an address is one");
        const int port = std::stoi(proxy["port"]);
        fuzz::require(port >= 1 && port <= 65535 && std::to_string(port) == proxy["port"], "a port is one");
    }
    const std::size_t before = proxies.size();
    base::addProxyList(seen, proxies, list);
    fuzz::require(proxies.size() == before, "a list said twice adds nothing");
}
