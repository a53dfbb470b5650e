#include "base/log_receiver.h"

namespace base {

GlobalSlot<GlobalLogReceiver>& globalLogReceiver() {
    // Never destroyed: threads that end in static destructors still log through it.
    static auto* const slot = new GlobalSlot<GlobalLogReceiver>;
    return *slot;
}

void logMessage(const std::string& tag, const std::string& text) {
    if (const auto receiver = globalLogReceiver().get()) {
        receiver->log(tag, text);
    }
}

}  // namespace base
