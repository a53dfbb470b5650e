#include "net/proxy.h"

namespace base {

namespace {

std::string proxyText(const std::string& address, const std::string& port) {
    return address.empty() || port.empty() ? std::string() : address + ":" + port;
}

std::string discoverProxy(const std::string& url, const std::string& userAgent) {
    const auto discovery = proxyDiscovery().get();
    if (!discovery) {
        return {};
    }
    for (ProxyEntry& entry : discovery->getProxySettings(url, userAgent, nullptr)) {
        if (std::string text = proxyText(entry["address"], entry["port"]); !text.empty()) {
            return text;
        }
    }
    return {};
}

}  // namespace

GlobalSlot<ProxyDiscovery>& proxyDiscovery() {
    // Never destroyed: threads that end in static destructors still make requests.
    static auto* const slot = new GlobalSlot<ProxyDiscovery>;
    return *slot;
}

std::string chooseProxy(dockset::AppSettings& settings, const std::string& url, const std::string& userAgent) {
    if (url.find("127.0.0.1") != std::string::npos || url.find("localhost") != std::string::npos) {
        return {};
    }
    std::string mode;
    const data::Value stored = settings.proxySettings(mode);
    if (mode == "manual") {
        return proxyText(stored.find("address").text, stored.find("port").text);
    }
    return mode == "none" ? std::string() : discoverProxy(url, userAgent);
}

}  // namespace base
