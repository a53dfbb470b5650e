// Which proxy a request goes through.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "base/global_slot.h"
#include "settings/app_settings.h"

namespace base {

// "address" and "port" of a proxy, or "autoConfigScript" alone.
using ProxyEntry = std::map<std::string, std::string>;

// What the system has configured.
class ProxyDiscovery {
public:
    ProxyDiscovery() = default;
    ProxyDiscovery(const ProxyDiscovery&) = delete;
    ProxyDiscovery& operator=(const ProxyDiscovery&) = delete;
    virtual ~ProxyDiscovery() = default;

    // In the order of finding; none on any failure. `diagnostics` may be null. May block for long; any thread.
    virtual std::vector<ProxyEntry> getProxySettings(const std::string& url, const std::string& userAgent,
                                                     std::string* diagnostics) = 0;

    // Ends the look-ups that go on, as far as the system can, and makes all later ones fail: for a program that stops.
    virtual void cancel() {}
};

// Without an object here a user whose settings follow the system has no proxy.
GlobalSlot<ProxyDiscovery>& proxyDiscovery();

// "address:port" of the one proxy that is tried, by the user's settings or the system's; empty for none, which is
// always so for an address that holds "127.0.0.1" or "localhost" anywhere. Any thread.
std::string chooseProxy(dockset::AppSettings& settings, const std::string& url, const std::string& userAgent);

}  // namespace base
