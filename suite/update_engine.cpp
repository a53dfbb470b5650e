// zdengine: stands in for the Update Engine, its installer and its uninstaller. With "/F" it enters itself into the
// user's registry as the engine and its uninstaller, with "/K" it takes both entries away, else it runs until it is
// ended. The environment variable ZELMO_DOCKSET_ENGINE_EXIT is the exit code of the first two; with one that isn't 0
// they change nothing.

#include <array>
#include <cstdlib>
#include <string>

#include "win32/kernel.h"
#include "win32/registry.h"

namespace {

constexpr const WCHAR* programKey = W("Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Update Engine.exe");
constexpr const WCHAR* uninstallKey = W("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Update Engine");

// With a null text the value goes.
void setValue(const WCHAR* path, const WCHAR* name, const WCHAR* text) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
        return;
    }
    if (text == nullptr) {
        RegDeleteValueW(key, name);
    } else {
        const auto size = static_cast<DWORD>((WideString(text).size() + 1) * sizeof(WCHAR));
        RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), size);
    }
    RegCloseKey(key);
}

void enter(const WCHAR* program) {
    setValue(programKey, nullptr, program);
    setValue(uninstallKey, W("UninstallString"), program);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string last = argc > 1 ? argv[argc - 1] : "";
    if (last != "/F" && last != "/K") {
        Sleep(INFINITE);
    }
    const char* const chosen = std::getenv("ZELMO_DOCKSET_ENGINE_EXIT");
    const auto exitCode = static_cast<int>(chosen == nullptr ? 0 : std::strtol(chosen, nullptr, 10));
    if (exitCode != 0) {
        return exitCode;
    }
    std::array<WCHAR, MAX_PATH> own{};
    GetModuleFileNameW(nullptr, own.data(), static_cast<DWORD>(own.size()));
    enter(last == "/F" ? own.data() : nullptr);
    return 0;
}
