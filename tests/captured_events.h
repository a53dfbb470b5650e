// The usage events that are raised while the object lives, as "category/action/label/6=dimension" lines.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "net/usage_event.h"

namespace tests {

class CapturedEvents {
public:
    CapturedEvents() { base::usageEventSink().publish(sink_); }

    std::vector<std::string> lines() const {
        const std::lock_guard lock(sink_->mutex);
        return sink_->lines;
    }

private:
    struct Sink : base::UsageEventSink {
        void report(const base::UsageEvent& event) override {
            std::string line = event.category + "/" + event.action + "/" + event.label;
            for (const auto& [number, text] : event.dimensions) {
                line += "/" + std::to_string(number) + "=" + text;
            }
            const std::lock_guard lock(mutex);
            lines.push_back(line);
        }
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

}  // namespace tests
