// The lock between all processes of the suite on a machine, whichever user runs them, on the file cache.
#pragma once

#include <mutex>
#include <string>
#include <utility>

#include "base/handle.h"
#include "win32/types.h"

namespace base {

// A mutex with a system-wide name, which exists as long as some process holds this object. Any thread.
class CacheMutex {
public:
    // `name` without the prefix of the machine's namespace.
    explicit CacheMutex(std::string name) : name_(std::move(name)) {}

    // Opens the mutex unless it is open already. A failure is logged, and the next call tries again.
    bool open();

    // Valid once `open` gave true, until the object goes.
    HANDLE handle() const { return handle_.get(); }

private:
    const std::string name_;
    std::mutex guard_;  // guards the opening
    Handle handle_;
};

// Owns the mutex while it lives, if it could be had within 4.4 seconds; whoever holds this goes on either way. Belongs
// to the thread that made it.
class CacheMutexLock {
public:
    explicit CacheMutexLock(CacheMutex& cacheMutex);
    CacheMutexLock(const CacheMutexLock&) = delete;
    CacheMutexLock& operator=(const CacheMutexLock&) = delete;
    ~CacheMutexLock();

private:
    HANDLE handle_ = nullptr;
    int owned_ = 0;  // each wait that gave the mutex wants its own release
};

}  // namespace base
