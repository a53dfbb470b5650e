#include "settings/autostart.h"

#include <string>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "win32/registry.h"

namespace dockset {

namespace {

constexpr const WCHAR* runKey = W("Software\\Microsoft\\Windows\\CurrentVersion\\Run");
constexpr const WCHAR* entryName = W("ZelmoDocksetAgent");

void log(const std::string& text) { base::logMessage("AppSettings", text); }

void setEntry(HKEY key) {
    const auto program = base::applicationDirectory(base::Executable) / "ZelmoDocksetAgent.exe";
    const WideString command = W("\"") + base::widePath(program) + W("\"");
    const LSTATUS status = RegSetValueExW(key, entryName, 0, REG_SZ, reinterpret_cast<const BYTE*>(command.c_str()),
                                          static_cast<DWORD>((command.size() + 1) * sizeof(WCHAR)));
    if (status != ERROR_SUCCESS) {
        log("Failed to set registry value, ZelmoDocksetAgent, " + std::to_string(status));
    }
}

void deleteEntry(HKEY key) {
    const LSTATUS status = RegDeleteValueW(key, entryName);
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
        log("Failed to delete registry value, ZelmoDocksetAgent, " + std::to_string(status));
    }
}

}  // namespace

void applyAutostart(bool enable) {
    HKEY key = nullptr;
    DWORD disposition = 0;
    const LSTATUS status =
        RegCreateKeyExW(HKEY_CURRENT_USER, runKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, &disposition);
    if (status != ERROR_SUCCESS) {
        log("Failed to open registry key, " + std::to_string(status));
    } else if (disposition != REG_CREATED_NEW_KEY && disposition != REG_OPENED_EXISTING_KEY) {
        log("Failed to open registry key, " + base::narrow(runKey));
    }
    // Without a key the steps below fail in their turn, and say so.
    if (enable) {
        setEntry(key);
    } else {
        deleteEntry(key);
    }
    if (key != nullptr) {
        RegCloseKey(key);
    }
}

}  // namespace dockset
