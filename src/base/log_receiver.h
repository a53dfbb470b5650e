// How modules log: a tag that says who speaks, and a text. They don't know the file behind it.
#pragma once

#include <memory>
#include <string>

#include "base/global_slot.h"

namespace base {

class GlobalLogReceiver {
public:
    GlobalLogReceiver() = default;
    GlobalLogReceiver(const GlobalLogReceiver&) = delete;
    GlobalLogReceiver& operator=(const GlobalLogReceiver&) = delete;
    virtual ~GlobalLogReceiver() = default;

    // Writes one line. Called from any thread.
    virtual void log(const std::string& tag, const std::string& text) = 0;
};

GlobalSlot<GlobalLogReceiver>& globalLogReceiver();

// Hands the line to the receiver; without one the text is dropped. Any thread.
void logMessage(const std::string& tag, const std::string& text);

}  // namespace base
