#include "settings/settings_mutex.h"

#include <string>

#include "base/log_receiver.h"
#include "base/object_names.h"
#include "win32/kernel.h"
#include "win32/mutex.h"

namespace dockset {

namespace {

void logError(const char* text) {
    const DWORD error = GetLastError();
    base::logMessage("AppSettings", text + std::to_string(error));
}

}  // namespace

SettingsMutexLock::SettingsMutexLock() : handle_(CreateMutexW(nullptr, FALSE, base::settingsMutexName)) {
    if (handle_ == nullptr) {
        logError("Failed to create mutex, ");
        return;
    }
    constexpr int attempts = 4;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const DWORD result = WaitForSingleObject(handle_, INFINITE);
        if (result == WAIT_OBJECT_0) {
            return;
        }
        if (result == WAIT_FAILED) {
            logError("Wait for mutex failed, ");
        }
    }
}

SettingsMutexLock::~SettingsMutexLock() {
    if (handle_ == nullptr) {
        return;
    }
    if (ReleaseMutex(handle_) == FALSE) {
        logError("Failed to release mutex, ");
    } else if (CloseHandle(handle_) == FALSE) {
        logError("Failed to close handle to mutex, ");
    }
}

}  // namespace dockset
