// The place and the names of temporary files, and the variables of the environment in a text.
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace {

// Null if there is none. A name in another case counts where the exact one is missing.
const char* valueOf(const std::string& name) {
    if (const char* const value = std::getenv(name.c_str())) {
        return value;
    }
    for (char** each = environ; !name.empty() && *each != nullptr; ++each) {
        if (strncasecmp(*each, name.c_str(), name.size()) == 0 && (*each)[name.size()] == '=') {
            return *each + name.size() + 1;
        }
    }
    return nullptr;
}

std::string expanded(const std::string& text) {
    std::string result;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t end = text[at] == '%' ? text.find('%', at + 1) : std::string::npos;
        const char* const value = end == std::string::npos ? nullptr : valueOf(text.substr(at + 1, end - at - 1));
        if (value != nullptr) {
            result += value;
            at = end + 1;
        } else {
            result += text[at++];
        }
    }
    return result;
}

}  // namespace

DWORD WINAPI ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer, DWORD size) {
    WIN32_MAY_FAIL("ExpandEnvironmentStringsW", 0);
    const WideString result = win32::toWide(expanded(win32::toBytes(text)));
    if (result.size() < size) {
        buffer[result.copy(buffer, result.size())] = 0;
    }
    return static_cast<DWORD>(result.size() + 1);
}

DWORD WINAPI GetTempPathW(DWORD size, LPWSTR path) {
    WIN32_MAY_FAIL("GetTempPathW", 0);
    const char* const configured = std::getenv("TMPDIR");
    std::string directory = configured == nullptr || *configured == 0 ? "/tmp" : configured;
    directory += directory.ends_with('/') ? "" : "/";
    const WideString wide = win32::toWideName(directory);
    if (wide.size() >= size) {
        return static_cast<DWORD>(wide.size() + 1);
    }
    path[wide.copy(path, wide.size())] = 0;
    return static_cast<DWORD>(wide.size());
}

UINT WINAPI GetTempFileNameW(LPCWSTR directory, LPCWSTR prefix, UINT unique, LPWSTR path) {
    WIN32_MAY_FAIL("GetTempFileNameW", 0);
    constexpr std::size_t prefixLength = 3;
    const std::string folder = win32::toNativePath(directory);
    struct stat status {};
    std::array<char, 16> number{};
    std::snprintf(number.data(), number.size(), "%X.tmp", unique & 0xFFFFU);
    const WideString name = win32::toWideName(folder + (folder.ends_with('/') ? "" : "/")) +
                            WideString(prefix == nullptr ? W("") : prefix).substr(0, prefixLength) +
                            win32::toWide(number.data());
    if (unique == 0 || name.size() >= MAX_PATH) {
        SetLastError(unique == 0 ? ERROR_INVALID_PARAMETER : ERROR_BUFFER_OVERFLOW);
        return 0;
    }
    if (stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        SetLastError(ERROR_DIRECTORY);
        return 0;
    }
    path[name.copy(path, name.size())] = 0;
    return unique;
}
