#include "cache/cache_mutex.h"

#include "base/log_receiver.h"
#include "win32/kernel.h"
#include "win32/mutex.h"

namespace base {

namespace {

constexpr DWORD waitLimit = 4000;  // milliseconds
constexpr DWORD abandonedLimit = 400;

void log(const std::string& text) { logMessage("CacheMutex", text); }

}  // namespace

bool CacheMutex::open() {
    const std::lock_guard lock(guard_);
    if (handle_) {
        return true;
    }
    const std::string fullName = "Global\\" + name_;
    handle_ = Handle(CreateMutexA(nullptr, FALSE, fullName.c_str()));
    if (handle_) {
        return true;
    }
    DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED) {
        // Another user's process made it, and grants no more than waiting.
        handle_ = Handle(OpenMutexA(SYNCHRONIZE, FALSE, fullName.c_str()));
        if (handle_) {
            return true;
        }
        error = GetLastError();
        log("Failed to open mutex with " + std::to_string(error) + ", will retry create");
        handle_ = Handle(CreateMutexA(nullptr, FALSE, fullName.c_str()));
        if (handle_) {
            return true;
        }
        error = GetLastError();
    }
    log("Failed to create mutex with " + std::to_string(error));
    return false;
}

CacheMutexLock::CacheMutexLock(CacheMutex& cacheMutex) {
    if (!cacheMutex.open()) {
        return;
    }
    handle_ = cacheMutex.handle();
    DWORD result = WaitForSingleObject(handle_, waitLimit);
    if (result == WAIT_ABANDONED) {
        ++owned_;
        result = WaitForSingleObject(handle_, abandonedLimit);
    }
    if (result == WAIT_OBJECT_0) {
        ++owned_;
    }
}

CacheMutexLock::~CacheMutexLock() {
    for (; owned_ > 0; --owned_) {
        ReleaseMutex(handle_);
    }
}

}  // namespace base
