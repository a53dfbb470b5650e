#include "net/pinning.h"

namespace base {

GlobalSlot<CertificatePins>& certificatePins() {
    // Never destroyed: threads that end in static destructors still make requests.
    static auto* const slot = new GlobalSlot<CertificatePins>;
    return *slot;
}

std::mutex& pinMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

}  // namespace base
