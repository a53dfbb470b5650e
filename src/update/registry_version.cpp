#include "update/registry_version.h"

#include <array>
#include <memory>
#include <type_traits>

#include "base/log_receiver.h"
#include "base/text.h"
#include "win32/registry.h"

namespace base {

namespace {

constexpr const WCHAR* registryPath = W("Software\\Tavrin\\ZelmoDockset");

void log(const std::string& text) { logMessage("autoupdate", text); }

struct CloseKey {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using RegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey>;

LSTATUS writeText(HKEY key, const std::string& name, const WideString& text) {
    return RegSetValueExW(key, widen(name).c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() * 2 + 2));
}

}  // namespace

bool storeVersion(const std::string& name, const Version& version) {
    HKEY opened = nullptr;
    DWORD disposition = 0;
    const LSTATUS created =
        RegCreateKeyExW(HKEY_CURRENT_USER, registryPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &opened, &disposition);
    if (created != ERROR_SUCCESS) {
        log("Failed to open registry key, " + std::to_string(created));
        return false;
    }
    const RegistryKey key(opened);
    if (disposition != REG_CREATED_NEW_KEY && disposition != REG_OPENED_EXISTING_KEY) {
        log("Failed to open registry key, Software\\Tavrin\\ZelmoDockset");
        return false;
    }
    const LSTATUS written = writeText(key.get(), name, widen(versionToText(version)));
    if (written != ERROR_SUCCESS) {
        log("Failed to set registry value, " + name + ", " + std::to_string(written));
    }
    return written == ERROR_SUCCESS;
}

std::optional<Version> storedVersion(const std::string& name) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, registryPath, 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    const RegistryKey key(opened);
    std::array<WCHAR, 128> buffer{};
    DWORD size = buffer.size() * sizeof(WCHAR);
    if (RegQueryValueExW(key.get(), widen(name).c_str(), nullptr, nullptr, reinterpret_cast<LPBYTE>(buffer.data()),
                         &size) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    const WideView text(buffer.data(), size / sizeof(WCHAR));
    return parseVersion(narrow(text.substr(0, text.find(WCHAR{0}))));
}

}  // namespace base
