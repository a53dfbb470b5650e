#include "platform/ue_registry.h"

#include <optional>

#include "base/log_receiver.h"
#include "base/number.h"
#include "base/text.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace dockset {

namespace {

constexpr std::size_t bufferSize = 8192;

class OpenKey {
public:
    OpenKey() = default;
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() {
        if (key_ != nullptr) {
            RegCloseKey(key_);
        }
    }

    LSTATUS open(HKEY hive, const WCHAR* path, REGSAM access) { return RegOpenKeyExW(hive, path, 0, access, &key_); }
    HKEY get() const { return key_; }

private:
    HKEY key_ = nullptr;
};

void logFailure(const char* operation, LSTATUS code, const std::string& rest) {
    base::logMessage(
        "PlatformWin32",
        operation + (" failed with " + base::hexadecimal(static_cast<std::uint32_t>(code))) + " requesting " + rest);
}

// The hive in which the key opened, or null.
const char* openAnywhere(const UEKey& key, OpenKey& opened) {
    for (const WCHAR* const path : key.paths) {
        LSTATUS code = opened.open(HKEY_CURRENT_USER, path, key.access);
        if (code == ERROR_SUCCESS) {
            return "HKCU";
        }
        logFailure("RegOpenKeyExW", code, std::string(key.purpose) + " from HKCU, will retry in HKLM");
        code = opened.open(HKEY_LOCAL_MACHINE, path, key.access);
        if (code == ERROR_SUCCESS) {
            return "HKLM";
        }
        logFailure("RegOpenKeyExW", code, key.purpose);
    }
    return nullptr;
}

WideString expanded(const WideString& text) {
    WideString result(bufferSize, WCHAR{});
    const DWORD length = ExpandEnvironmentStringsW(text.c_str(), result.data(), static_cast<DWORD>(bufferSize));
    result.resize(length == 0 || length > bufferSize ? 0 : length - 1);
    return result;
}

// None, and logged, if the query failed; empty for a value that is no text.
std::optional<WideString> queryText(const OpenKey& opened, const UEKey& key) {
    WideString text(bufferSize, WCHAR{});
    DWORD type = 0;
    auto size = static_cast<DWORD>(bufferSize * sizeof(WCHAR));
    const LSTATUS code =
        RegQueryValueExW(opened.get(), key.value, nullptr, &type, reinterpret_cast<LPBYTE>(text.data()), &size);
    if (code != ERROR_SUCCESS) {
        logFailure("RegQueryValueExW", code, key.purpose);
        return std::nullopt;
    }
    text.resize(size / sizeof(WCHAR));
    if (!text.empty() && text.back() == 0) {
        text.pop_back();
    }
    if (type == REG_EXPAND_SZ) {
        return expanded(text);
    }
    return type == REG_SZ ? text : WideString();
}

bool isFile(const WideString& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

UEValue readUEValue(const UEKey& key) {
    OpenKey opened;
    const char* const hive = openAnywhere(key, opened);
    if (hive == nullptr) {
        return {{}, "NOPATH"};
    }
    const auto text = queryText(opened, key);
    if (!text) {
        return {{}, std::string(hive) + " QUERYFAIL"};
    }
    if (text->empty()) {
        return {{}, std::string(hive) + " EMPTY"};
    }
    return {isFile(*text) ? *text : WideString(), hive};
}

}  // namespace dockset
