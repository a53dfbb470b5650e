#include "win32/registry.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>
#include <utility>

#include "linux/kernel/handle.h"
#include "linux/registry/autostart.h"
#include "linux/registry/registry_hive.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/kernel.h"

namespace win32 {

namespace {

constexpr const char* runKey = "software\\microsoft\\windows\\currentversion\\run";

class RegistryKey : public Object {
public:
    RegistryKey(Hive itsHive, std::string itsPath, REGSAM itsAccess)
        : hive(itsHive), path(std::move(itsPath)), access(itsAccess) {}

    bool isRunKey() const { return hive == Hive::currentUser && foldName(path) == runKey; }

    const Hive hive;
    const std::string path;  // as it was given, without separators at its ends
    const REGSAM access;
};

std::shared_ptr<RegistryKey> keyOf(HKEY key) {
    if (key == HKEY_CURRENT_USER) {
        return std::make_shared<RegistryKey>(Hive::currentUser, "", KEY_ALL_ACCESS);
    }
    if (key == HKEY_LOCAL_MACHINE) {
        return std::make_shared<RegistryKey>(Hive::localMachine, "", KEY_ALL_ACCESS);
    }
    return std::dynamic_pointer_cast<RegistryKey>(findObject(key));
}

// With one separator between two names, and none at the ends.
std::string tidied(const std::string& path) {
    std::string result;
    std::istringstream names(path);
    for (std::string name; std::getline(names, name, '\\');) {
        result += (result.empty() || name.empty() ? "" : "\\") + name;
    }
    return result;
}

// Only paths from the root of all keys begin with a separator.
bool isBelow(LPCWSTR path) { return path == nullptr || *path != u'\\'; }

std::string pathBelow(const RegistryKey& parent, LPCWSTR path) {
    const std::string below = tidied(path == nullptr ? std::string() : toBytes(path));
    return parent.path.empty() ? below : below.empty() ? parent.path : parent.path + "\\" + below;
}

std::string nameOf(LPCWSTR name) { return name == nullptr ? std::string() : toBytes(name); }

HKEY openKey(const RegistryKey& parent, std::string path, REGSAM access) {
    return reinterpret_cast<HKEY>(openHandle(std::make_shared<RegistryKey>(parent.hive, std::move(path), access)));
}

// A key exists when it or a key below it was made.
bool exists(const RegistryContent& content, const std::string& path) {
    const std::string folded = foldName(path);
    const auto below = content.lower_bound(folded + "\\");
    return path.empty() || content.contains(folded) ||
           (below != content.end() && below->first.starts_with(folded + "\\"));
}

std::string commandLineOf(const BYTE* data, DWORD size) {
    WideString text(size / sizeof(WCHAR), 0);
    std::memcpy(text.data(), data, text.size() * sizeof(WCHAR));
    return toBytes(std::u16string_view(text).substr(0, text.find(WCHAR{0})));
}

LSTATUS autostartStatus(bool done) {
    return done ? static_cast<LSTATUS>(ERROR_SUCCESS) : static_cast<LSTATUS>(codeOfErrno(errno));
}

}  // namespace

}  // namespace win32

using win32::keyOf;
using win32::RegistryContent;

LSTATUS WINAPI RegCreateKeyExW(HKEY parent, LPCWSTR path, DWORD /*reserved*/, LPWSTR /*keyClass*/, DWORD /*options*/,
                               REGSAM access, LPSECURITY_ATTRIBUTES /*security*/, PHKEY key, LPDWORD disposition) {
    WIN32_MAY_RETURN("RegCreateKeyExW", LSTATUS);
    const auto base = keyOf(parent);
    if (!base || key == nullptr) {
        return base ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE;
    }
    if (!win32::isBelow(path)) {
        return ERROR_BAD_PATHNAME;
    }
    const std::string full = win32::pathBelow(*base, path);
    if (!win32::isStorable(full)) {
        return ERROR_INVALID_PARAMETER;
    }
    RegistryContent content;
    LSTATUS status = win32::readHive(base->hive, content);
    DWORD outcome = REG_OPENED_EXISTING_KEY;
    if (status == ERROR_SUCCESS && !win32::exists(content, full)) {
        outcome = REG_CREATED_NEW_KEY;
        status = win32::changeHive(base->hive, [&](RegistryContent& current) -> LSTATUS {
            current[win32::foldName(full)].path = full;
            return ERROR_SUCCESS;
        });
    }
    if (status != ERROR_SUCCESS) {
        return status;
    }
    if (disposition != nullptr) {
        *disposition = outcome;
    }
    *key = win32::openKey(*base, full, access);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD /*options*/, REGSAM access, PHKEY key) {
    WIN32_MAY_RETURN("RegOpenKeyExW", LSTATUS);
    const auto base = keyOf(parent);
    if (!base || key == nullptr) {
        return base ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE;
    }
    *key = nullptr;
    if (!win32::isBelow(path)) {
        return ERROR_BAD_PATHNAME;
    }
    const std::string full = win32::pathBelow(*base, path);
    RegistryContent content;
    if (const LSTATUS status = win32::readHive(base->hive, content); status != ERROR_SUCCESS) {
        return status;
    }
    if (!win32::exists(content, full)) {
        return ERROR_FILE_NOT_FOUND;
    }
    *key = win32::openKey(*base, full, access);
    return ERROR_SUCCESS;
}

LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD /*reserved*/, LPDWORD type, LPBYTE data, LPDWORD size) {
    WIN32_MAY_RETURN("RegQueryValueExW", LSTATUS);
    const auto object = keyOf(key);
    if (!object || (data != nullptr && size == nullptr)) {
        return object ? ERROR_INVALID_PARAMETER : ERROR_INVALID_HANDLE;
    }
    if ((object->access & KEY_QUERY_VALUE) == 0) {
        return ERROR_ACCESS_DENIED;
    }
    RegistryContent content;
    if (const LSTATUS status = win32::readHive(object->hive, content); status != ERROR_SUCCESS) {
        return status;
    }
    const auto& values = content[win32::foldName(object->path)].values;
    const auto found = values.find(win32::foldName(win32::nameOf(name)));
    if (found == values.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    const auto& value = found->second;
    if (type != nullptr) {
        *type = value.type;
    }
    if (size == nullptr) {
        return ERROR_SUCCESS;
    }
    const DWORD offered = std::exchange(*size, static_cast<DWORD>(value.data.size()));
    if (data == nullptr) {
        return ERROR_SUCCESS;
    }
    if (offered < value.data.size()) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(data, value.data.data(), value.data.size());
    return ERROR_SUCCESS;
}

LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD /*reserved*/, DWORD type, const BYTE* data, DWORD size) {
    WIN32_MAY_RETURN("RegSetValueExW", LSTATUS);
    const auto object = keyOf(key);
    if (!object) {
        return ERROR_INVALID_HANDLE;
    }
    if ((object->access & KEY_SET_VALUE) == 0) {
        return ERROR_ACCESS_DENIED;
    }
    const std::string valueName = win32::nameOf(name);
    if (!win32::isStorable(valueName)) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto set = [&](RegistryContent& content) -> LSTATUS {
        auto& entry = content[win32::foldName(object->path)];
        entry.path = entry.path.empty() ? object->path : entry.path;
        entry.values[win32::foldName(valueName)] = {valueName, type, {data, data + size}};
        return ERROR_SUCCESS;
    };
    // Under the hive's lock as well, or another process may be at the same entry.
    const auto mirror = [&]() -> LSTATUS {
        return object->isRunKey()
                   ? win32::autostartStatus(win32::writeAutostartEntry(valueName, win32::commandLineOf(data, size)))
                   : ERROR_SUCCESS;
    };
    return win32::changeHive(object->hive, set, mirror);
}

LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name) {
    WIN32_MAY_RETURN("RegDeleteValueW", LSTATUS);
    const auto object = keyOf(key);
    if (!object) {
        return ERROR_INVALID_HANDLE;
    }
    if ((object->access & KEY_SET_VALUE) == 0) {
        return ERROR_ACCESS_DENIED;
    }
    const std::string valueName = win32::nameOf(name);
    const LSTATUS status = win32::changeHive(object->hive, [&](RegistryContent& content) -> LSTATUS {
        auto& values = content[win32::foldName(object->path)].values;
        return values.erase(win32::foldName(valueName)) != 0 ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
    });
    if ((status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND) && object->isRunKey()) {
        const LSTATUS mirrored = win32::autostartStatus(win32::removeAutostartEntry(valueName));
        return mirrored == ERROR_SUCCESS ? status : mirrored;
    }
    return status;
}

LSTATUS WINAPI RegCloseKey(HKEY key) {
    WIN32_MAY_RETURN("RegCloseKey", LSTATUS);
    if (key == HKEY_CURRENT_USER || key == HKEY_LOCAL_MACHINE) {
        return ERROR_SUCCESS;
    }
    return keyOf(key) && CloseHandle(key) != FALSE ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}
