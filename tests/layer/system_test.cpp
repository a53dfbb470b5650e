#include "win32/system.h"

#include <gtest/gtest.h>

#include <array>

#include "temp_session.h"
#include "win32/kernel.h"
#include "win32/power.h"
#include "win32/window.h"

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

TEST(SystemTest, TellsOfTheUsersSession) {
    SYSTEM_POWER_STATUS power{};
    EXPECT_NE(GetSystemPowerStatus(&power), FALSE);
    EXPECT_NE(GetUserGeoID(GEOCLASS_NATION), 0);
    EXPECT_GT(GetSystemMetrics(SM_CXSMICON), 0);
    EXPECT_GT(GetDoubleClickTime(), 0U);
    ULONG count = 0;
    ULONG size = 0;
    EXPECT_NE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size), FALSE);
    EXPECT_TRUE(count > 0 && size > 2);
    FILETIME first{};
    FILETIME second{};
    GetSystemTimeAsFileTime(&first);
    Sleep(20);
    GetSystemTimeAsFileTime(&second);
    EXPECT_GT(second.dwLowDateTime - first.dwLowDateTime, 100'000U);
}

TEST(SystemTest, PowerRequestsAreClearedOnlyWhereTheyWereSet) {
    const tests::EnvironmentSetting bus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/none");
    WideString reason = W("work");
    REASON_CONTEXT context{POWER_REQUEST_CONTEXT_VERSION, POWER_REQUEST_CONTEXT_SIMPLE_STRING, {}};
    context.Reason.SimpleReasonString = reason.data();
    const HANDLE request = PowerCreateRequest(&context);
    ASSERT_NE(request, INVALID_HANDLE_VALUE);
    EXPECT_EQ(PowerClearRequest(request, PowerRequestSystemRequired), FALSE);
    EXPECT_EQ(PowerSetRequest(nullptr, PowerRequestSystemRequired), FALSE);
    EXPECT_NE(CloseHandle(request), FALSE);
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
