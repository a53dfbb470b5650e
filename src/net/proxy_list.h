// From the proxy lists of the system to entries.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "base/text.h"
#include "net/proxy.h"

namespace base {

// "host:port" of each proxy that one discovery has found so far.
using SeenProxies = std::set<std::string>;

// Adds the proxies of a list: pieces divided by ";", each plain or "scheme=value". First the plain ones as they stand,
// then the values of "http" and "https", folded to lower case; other schemes are dropped.
void addProxyList(SeenProxies& seenProxies, std::vector<ProxyEntry>& result, WideView list);

// Adds "host:port"; without a port it is 8080.
void addProxyToken(SeenProxies& seenProxies, std::vector<ProxyEntry>& result, WideView token);

// Adds the proxy unless it was seen, its port is outside of 1 to 65535, or its host is empty or not plain ASCII.
void addProxy(SeenProxies& seenProxies, std::vector<ProxyEntry>& result, WideView host, std::uint32_t port);

// Whether all characters are visible ASCII.
bool isPlain(WideView text);

}  // namespace base
