#include "update/work_queue.h"

#include <utility>

namespace base {

WorkQueue::WorkQueue() : worker_([this] { run(); }) {}

WorkQueue::~WorkQueue() {
    requestStop();
    worker_.join();
}

void WorkQueue::enqueue(Job job) {
    const std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
    changed_.notify_one();
}

void WorkQueue::requestStop() {
    const std::lock_guard lock(mutex_);
    stopRequested_ = true;
    changed_.notify_one();
}

void WorkQueue::run() {
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return stopRequested_ || !jobs_.empty(); });
        if (stopRequested_) {
            return;
        }
        const Job job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        job();
        lock.lock();
    }
}

}  // namespace base
