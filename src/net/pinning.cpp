#include "net/pinning.h"

#include "net/url.h"

namespace base {

GlobalSlot<CertificatePins>& certificatePins() {
    // Never destroyed: threads that end in static destructors still make requests.
    static auto* const slot = new GlobalSlot<CertificatePins>;
    return *slot;
}

std::vector<Bytes> requiredKeysFor(const std::string& url) {
    const auto pins = certificatePins().get();
    if (!pins || !parseUrl(url).https || url.find("google-analytics") != std::string::npos) {
        return {};
    }
    return pins->pinnedKeysFor(url);
}

std::mutex& pinMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

}  // namespace base
