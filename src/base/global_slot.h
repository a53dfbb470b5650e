// A process-wide place from which code reaches an object that the entry function owns.
//
// The slot holds a weak reference only, so it goes dead by itself when the owner lets go, and whoever reads it must
// expect to find nothing. Any thread; the lock is held only for the moment of taking or replacing the reference,
// never during a call into the object.
#pragma once

#include <memory>
#include <mutex>

namespace base {

template <typename T>
class GlobalSlot {
public:
    void publish(const std::shared_ptr<T>& object) {
        const std::lock_guard lock(mutex_);
        reference_ = object;
    }

    // Null when nothing was published or the object is gone.
    std::shared_ptr<T> get() const {
        const std::lock_guard lock(mutex_);
        return reference_.lock();
    }

private:
    mutable std::mutex mutex_;
    std::weak_ptr<T> reference_;
};

}  // namespace base
