// Keeps the machine from going to sleep for as long as an object of it exists; the display may go dark.
#pragma once

#include <string>

#include "win32/types.h"

namespace base {

class SleepLock {
public:
    // `reason` (UTF-8) is what the system's tools show. A failure is logged; the object then holds nothing and the
    // machine may sleep.
    explicit SleepLock(const std::string& reason);
    SleepLock(const SleepLock&) = delete;
    SleepLock& operator=(const SleepLock&) = delete;
    ~SleepLock();

private:
    bool active_ = false;
    HANDLE request_;
};

}  // namespace base
