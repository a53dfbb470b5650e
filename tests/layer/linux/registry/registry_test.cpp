#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "layer/linux/child_process.h"
#include "temp_session.h"
#include "win32/registry.h"

namespace {

constexpr const WCHAR* path = W("Software\\Killed");
constexpr const WCHAR* name = W("text");
constexpr std::size_t length = 20'000;

HKEY openKey() {
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    return key;
}

// Writes texts of one repeated letter, for ever.
int writeRegistry() {
    HKEY key = openKey();
    for (unsigned round = 0;; ++round) {
        const WideString text(length, static_cast<WCHAR>(W('a') + round % 26));
        RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                       static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
        if (round == 0) {
            tellLine(childOutput, "written");
        }
    }
}

const ChildRole role("registry-writer", writeRegistry);

}  // namespace

TEST(RegistryProcesses, HoldAWholeValueWhateverHappensToThem) {
    const tests::TempSession session;
    HKEY key = openKey();
    for (int round = 0; round < 40; ++round) {
        ChildProcess first("registry-writer");
        ChildProcess second("registry-writer");
        first.hear();
        second.hear();
        std::this_thread::sleep_for(std::chrono::microseconds(137 * round));
        first.kill();
        second.kill();
        WideString text(length + 1, 0);
        auto size = static_cast<DWORD>(text.size() * sizeof(WCHAR));
        ASSERT_EQ(RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(text.data()), &size),
                  ERROR_SUCCESS);
        ASSERT_EQ(size, (length + 1) * sizeof(WCHAR));
        ASSERT_EQ(text, WideString(length, text[0]) + WCHAR{0});
    }
    RegCloseKey(key);
}
