// The system's proxies, by its settings and by its own look-ups.
//
// The diagnostics are six characters: the look-ups could begin (".", else "e" and five dots); the settings tell of
// auto-detection, a script, a list ("y" or "n" each; "e.." without settings); the script's address is usable ("y", "e",
// "." for none); the look-ups gave proxies ("y", "n", "e" if none succeeded, "." if none was made).
#pragma once

#include "net/proxy.h"

namespace base {

// A result begins with the script's address, if there is one, then has the proxies that the script gives, those that
// detection finds and those of the settings. Each failed step is logged and means fewer entries.
class SystemProxyDiscovery final : public ProxyDiscovery {
public:
    std::vector<ProxyEntry> getProxySettings(const std::string& url, const std::string& userAgent,
                                             std::string* diagnostics) override;
};

// The same for the programs that manage the Update Engine, which run a script only where detection is on too.
// `diagnostics` may be null. May block for long; any thread.
std::vector<ProxyEntry> getUEProxySettings(const std::string& url, std::string* diagnostics);

}  // namespace base
