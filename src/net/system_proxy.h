// The system's proxies, by its settings and by its own look-ups.
//
// The diagnostics are six characters: the look-ups could begin (".", else "e" and five dots); the settings tell of
// auto-detection, a script, a list ("y" or "n" each; "e.." without settings); the script's address is usable ("y", "e",
// "." for none); the look-ups gave proxies ("y", "n", "e" if none succeeded, "." if none was made).
#pragma once

#include <mutex>
#include <set>

#include "base/text.h"
#include "net/proxy.h"

namespace base {

// The sessions that look-ups go on in, each an HINTERNET: that name's header clashes with another one's that includers
// of this one need. Any thread.
class ProxySessions {
public:
    // Null if none can be had.
    void* open(const WideString& userAgent);
    void close(void* session);
    // Closes all, and opens no more.
    void end();

private:
    std::mutex mutex_;
    std::set<void*> open_;
    bool ended_ = false;
};

// A result begins with the script's address, if there is one, then has the proxies that the script gives, those that
// detection finds and those of the settings. Each failed step is logged and means fewer entries.
class SystemProxyDiscovery final : public ProxyDiscovery {
public:
    std::vector<ProxyEntry> getProxySettings(const std::string& url, const std::string& userAgent,
                                             std::string* diagnostics) override;
    void cancel() override { sessions_.end(); }

private:
    ProxySessions sessions_;
};

// The same for the programs that manage the Update Engine, which run a script only where detection is on too.
// `diagnostics` may be null. May block for long; any thread.
std::vector<ProxyEntry> getUEProxySettings(const std::string& url, std::string* diagnostics);

}  // namespace base
