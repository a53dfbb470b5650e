// The lock between the agent and the main application on app_settings.json.
#pragma once

#include "win32/types.h"

namespace dockset {

// Owns the settings file's system-wide mutex while it lives: for the length of one access to the file. A mutex that
// can't be had is logged, and the access goes on without it.
class SettingsMutexLock {
public:
    SettingsMutexLock();
    SettingsMutexLock(const SettingsMutexLock&) = delete;
    SettingsMutexLock& operator=(const SettingsMutexLock&) = delete;
    ~SettingsMutexLock();

private:
    HANDLE handle_;
};

}  // namespace dockset
