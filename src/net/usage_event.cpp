#include "net/usage_event.h"

#include "base/log_receiver.h"

namespace base {

GlobalSlot<UsageEventSink>& usageEventSink() {
    // Never destroyed: threads that end in static destructors still report through it.
    static auto* const slot = new GlobalSlot<UsageEventSink>;
    return *slot;
}

void reportUsageEvent(const UsageEvent& event) {
    const auto sink = usageEventSink().get();
    if (!sink) {
        return;
    }
    sink->report(event);
    std::string line = "event = " + event.category + " / " + event.action;
    if (!event.label.empty()) {
        line += " / " + event.label;
    }
    if (event.hasValue) {
        line += " / " + std::to_string(event.value);
    }
    logMessage("analytics", line);
}

}  // namespace base
