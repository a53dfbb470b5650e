#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "layer/linux/child_process.h"
#include "temp_session.h"
#include "win32/registry.h"

namespace {

// Whose values stand in the desktop's autostart, too.
constexpr const WCHAR* path = W("Software\\Microsoft\\Windows\\CurrentVersion\\Run");
constexpr const WCHAR* name = W("text");
constexpr std::size_t length = 20'000;

HKEY openKey() {
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr);
    return key;
}

// Writes texts of one repeated letter until that fails.
int writeRegistry() {
    HKEY key = openKey();
    LSTATUS status = ERROR_SUCCESS;
    for (unsigned round = 0; status == ERROR_SUCCESS; ++round) {
        const WideString text(length, static_cast<WCHAR>(W('a') + round % 26));
        status = RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                                static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
        if (round == 0) {
            tellLine(childOutput, "written");
        }
    }
    tellLine(childOutput, "failed with " + std::to_string(status));
    return 0;
}

const ChildRole role("registry-writer", writeRegistry);

}  // namespace

TEST(RegistryProcesses, HoldAWholeValueWhateverHappensToThem) {
    const tests::TempSession session;
    HKEY key = openKey();
    const WideString half(1, 0xD83D);  // of a pair, which its file couldn't hold
    EXPECT_EQ(RegSetValueExW(key, half.c_str(), 0, REG_SZ, nullptr, 0), ERROR_INVALID_PARAMETER);
    for (int round = 0; round < 40; ++round) {
        ChildProcess first("registry-writer");
        ChildProcess second("registry-writer");
        first.hear();
        second.hear();
        std::this_thread::sleep_for(std::chrono::microseconds(137 * round));
        first.kill();
        second.kill();
        ASSERT_EQ(first.hear() + second.hear(), "") << "round " << round;
        WideString text(length + 1, 0);
        auto size = static_cast<DWORD>(text.size() * sizeof(WCHAR));
        ASSERT_EQ(RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<LPBYTE>(text.data()), &size),
                  ERROR_SUCCESS);
        ASSERT_EQ(size, (length + 1) * sizeof(WCHAR));
        ASSERT_EQ(text, WideString(length, text[0]) + WCHAR{0});
    }
    RegCloseKey(key);
}
