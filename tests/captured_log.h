// What modules log while the object lives, as "tag text" lines.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/log_receiver.h"

namespace tests {

class CapturedLog {
public:
    CapturedLog() { base::globalLogReceiver().publish(receiver_); }

    std::vector<std::string> lines() const {
        const std::lock_guard lock(receiver_->mutex);
        return receiver_->lines;
    }
    // The lines so far, which are then forgotten.
    std::vector<std::string> take() {
        const std::lock_guard lock(receiver_->mutex);
        return std::exchange(receiver_->lines, {});
    }

private:
    struct Receiver : base::GlobalLogReceiver {
        void log(const std::string& tag, const std::string& text) override {
            const std::lock_guard lock(mutex);
            lines.push_back(tag + " " + text);
        }
        std::mutex mutex;
        std::vector<std::string> lines;
    };
    std::shared_ptr<Receiver> receiver_ = std::make_shared<Receiver>();
};

using Lines = std::vector<std::string>;

}  // namespace tests
