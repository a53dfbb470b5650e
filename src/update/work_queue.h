// Jobs that run in their order, one at a time, on a thread of their own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace base {

class WorkQueue {
public:
    using Job = std::function<void()>;

    WorkQueue();
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;
    // Waits for the job that runs; those behind it are dropped.
    ~WorkQueue();

    // Any thread, a job included. A job must not throw.
    void enqueue(Job job);

    // No further job begins. A long job looks at the flag and ends early.
    void requestStop();
    const std::atomic<bool>& stopRequested() const { return stopRequested_; }

private:
    void run();

    std::atomic<bool> stopRequested_{false};
    std::mutex mutex_;
    std::deque<Job> jobs_;  // under the mutex
    std::condition_variable changed_;
    std::thread worker_;
};

}  // namespace base
