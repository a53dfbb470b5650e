// Things worth counting. Code that meets one builds an event and hands it to reportUsageEvent; whether anybody counts
// is up to the program, which publishes a sink or doesn't.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "base/global_slot.h"

namespace base {

struct UsageEvent {
    std::string category = "undefined";
    std::string action = "undefined";
    std::string label = "undefined";
    std::uint32_t value = 0;
    bool hasValue = false;
    std::map<std::uint32_t, std::string> dimensions{};
};

class UsageEventSink {
public:
    UsageEventSink() = default;
    UsageEventSink(const UsageEventSink&) = delete;
    UsageEventSink& operator=(const UsageEventSink&) = delete;

    // Called from any thread, without a lock.
    virtual void report(const UsageEvent& event) = 0;

    virtual ~UsageEventSink() = default;
};

GlobalSlot<UsageEventSink>& usageEventSink();

// Hands the event to the sink and logs it; without a sink it is dropped and nothing is logged. Any thread.
void reportUsageEvent(const UsageEvent& event);

}  // namespace base
