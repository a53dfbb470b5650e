#include "win32/system.h"

#include <gtest/gtest.h>

#include <array>

#include "temp_session.h"
#include "win32/kernel.h"

namespace {

TEST(SystemTest, DescribesTheMachine) {
    OSVERSIONINFOEXA version{};
    version.dwOSVersionInfoSize = sizeof version;
    EXPECT_NE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)), FALSE);
    version.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
    EXPECT_NE(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)), FALSE);
    version.dwOSVersionInfoSize = 0;
    EXPECT_EQ(GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    SYSTEM_INFO processor{};
    GetNativeSystemInfo(&processor);
    EXPECT_TRUE(processor.dwPageSize >= 4096 && processor.dwNumberOfProcessors > 0);
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    ASSERT_NE(GlobalMemoryStatusEx(&memory), FALSE);
    EXPECT_TRUE(memory.ullAvailPhys > 0 && memory.ullAvailPhys <= memory.ullTotalPhys);
    EXPECT_LT(memory.ullAvailVirtual, memory.ullTotalVirtual);
}

TEST(SystemTest, LocaleTellsTheRoomThatItTakes) {
    const tests::EnvironmentSetting all("LC_ALL", "de_DE");  // Windows has its own opinion, of the same length
    std::array<CHAR, 3> text{};
    const auto ask = [](CHAR* buffer, int size) {
        return GetLocaleInfoA(GetUserDefaultUILanguage(), LOCALE_SISO639LANGNAME, buffer, size);
    };
    EXPECT_EQ(ask(nullptr, 0), 3);
    EXPECT_EQ(ask(text.data(), 2), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(ask(text.data(), 3), 3);
}

TEST(SystemTest, LowersLetters) {
    WideString text = W("EN-gb \u00C4\u0416");
    EXPECT_EQ(CharLowerW(text.data()), text.data());
    EXPECT_EQ(text, W("en-gb \u00E4\u0436"));
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(CharLowerW(reinterpret_cast<LPWSTR>(ULONG_PTR{'Q'}))), ULONG_PTR{'q'});
}

}  // namespace
