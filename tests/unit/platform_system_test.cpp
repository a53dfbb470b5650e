#include <gtest/gtest.h>

#include "agent/agent.h"
#include "captured_log.h"
#include "platform/os_version.h"
#include "platform/platform_win32.h"
#include "temp_session.h"
#include "win32/script.h"
#include "win32/system.h"
#include "win32/window.h"

namespace {

using tests::Lines;

class PlatformSystemTest : public testing::Test {
protected:
    PlatformSystemTest() { log_.take(); }
    ~PlatformSystemTest() override { win32::script::reset(); }

    tests::TempSession session_;
    tests::CapturedLog log_;
    dockset::PlatformWin32 platform_{nullptr};
};

std::string describe(DWORD major, DWORD minor, DWORD build, BYTE product, WORD suite = 0, WORD pack = 0,
                     WORD packMinor = 0, WORD processor = PROCESSOR_ARCHITECTURE_AMD64) {
    OSVERSIONINFOEXA version{};
    version.dwMajorVersion = major;
    version.dwMinorVersion = minor;
    version.dwBuildNumber = build;
    version.wProductType = product;
    version.wSuiteMask = suite;
    version.wServicePackMajor = pack;
    version.wServicePackMinor = packMinor;
    return dockset::describeVersion(version, processor);
}

TEST(OsVersion, IsNamedByNumberAndBuild) {
    constexpr BYTE server = 3;
    EXPECT_EQ(describe(10, 0, 21999, VER_NT_WORKSTATION), "Windows 10  64 bit");
    EXPECT_EQ(describe(10, 0, 22000, VER_NT_WORKSTATION), "Windows 11  64 bit");
    EXPECT_EQ(describe(10, 0, 17762, server), "Windows Server 2016 TP  64 bit");
    EXPECT_EQ(describe(10, 0, 17763, server), "Windows Server 2019  64 bit");
    EXPECT_EQ(describe(10, 0, 20200, server), "Windows Server 2022  64 bit");
    EXPECT_EQ(describe(6, 1, 7601, VER_NT_WORKSTATION, VER_SUITE_PERSONAL, 1, 0, PROCESSOR_ARCHITECTURE_INTEL),
              "Windows 7 Home SP1 32 bit");
    EXPECT_EQ(describe(5, 2, 0, server, 0, 2, 3, PROCESSOR_ARCHITECTURE_ARM64), "Windows v5.2 Server SP2.3 ");
}

TEST_F(PlatformSystemTest, FallsBackWhereTheSystemDoesntTell) {
    for (int i = 0; i < 2; ++i) {
        win32::script::failNext("GetVersionExA", ERROR_INVALID_PARAMETER);
    }
    win32::script::failNext("GlobalMemoryStatusEx", ERROR_INVALID_PARAMETER);
    win32::script::failNext("__cpuid", ERROR_NOT_SUPPORTED);
    win32::script::failNext("GetSystemPowerStatus", ERROR_NOT_SUPPORTED);
    win32::script::failNext("GetLocaleInfoA", ERROR_INVALID_PARAMETER);
    EXPECT_EQ(platform_.getOSVersion(), "");
    EXPECT_EQ(platform_.getOSVersionIdentifier(), "Windows Unknown 64 bit build");
    EXPECT_EQ(platform_.getRAMSize(), "-");
    EXPECT_EQ(platform_.getCPUName(), "unknown");
    EXPECT_FALSE(platform_.isComputerRunningOnBattery());
    EXPECT_EQ(platform_.getCountryCode(), "US");
    EXPECT_EQ(platform_.getDiskFreeSpace(W("/no such")), 0U);
    EXPECT_FALSE(platform_.queryGeoId());
    EXPECT_EQ(log_.take(),
              (Lines{"getOSVersion GetVersionExA failed with 87", "getOSVersionIdentifier GetVersionExA failed with 87",
                     "isComputerRunningOnBattery GetSystemPowerStatus failed with 50",
                     "getCountryCode LOCALE_SISO3166CTRYNAME failed",
                     "PlatformWin32 getDiskFreeSpace GetDiskFreeSpaceExW failed with 3"}));
}

TEST_F(PlatformSystemTest, AddsUpADirectorysFiles) {
    const tests::TempDirectory directory;
    boost::filesystem::create_directories(directory.file("a/b c/\\"));
    directory.write("one", std::string(1000, 'x'));
    directory.write("a/b c/two", std::string(24, 'x'));
    boost::filesystem::create_directory_symlink(directory.path(), directory.file("a/loop"));
    std::uint64_t size = 5;
    EXPECT_TRUE(platform_.getDirectorySize(base::widen(directory.path().string()), size));
    EXPECT_EQ(size, 1024U);
    EXPECT_TRUE(platform_.getDirectorySize(directory.wide("a/"), size));
    EXPECT_EQ(size, 24U);
    EXPECT_FALSE(platform_.getDirectorySize(directory.wide("none"), size));
    EXPECT_FALSE(platform_.getDirectorySize(W(""), size));
    EXPECT_EQ(size, 0U);
    // A directory that can't be listed counts nothing.
    win32::script::failNext("FindFirstFileW", ERROR_ACCESS_DENIED, 1);
    EXPECT_TRUE(platform_.getDirectorySize(base::widen(directory.path().string()), size));
    EXPECT_EQ(size, 1000U);
}

TEST_F(PlatformSystemTest, SleepIsForbiddenOnce) {
    EXPECT_TRUE(platform_.isSleepAllowed());
    win32::script::failNext("PowerCreateRequest", ERROR_NOT_SUPPORTED);
    platform_.setSleepAllowed(false);
    platform_.setSleepAllowed(false);
    EXPECT_FALSE(platform_.isSleepAllowed());
    platform_.setSleepAllowed(true);
    EXPECT_EQ(log_.take(), Lines{"base PowerCreateRequest failed"});
    win32::script::failNext("PowerSetRequest", ERROR_INVALID_WINDOW_HANDLE);
    platform_.setSleepAllowed(false);
    win32::script::failNext("CloseHandle", ERROR_INVALID_HANDLE);
    platform_.setSleepAllowed(true);
    EXPECT_TRUE(platform_.isSleepAllowed());
    EXPECT_EQ(log_.take(),
              (Lines{"base Failed to enable no-sleep mode, 0x578", "base Failed to close power request handle"}));
}

TEST_F(PlatformSystemTest, ReachesTheSuitesWindows) {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.lpszClassName = W("ZelmoDocksetAgent");
    RegisterClassExW(&windowClass);
    const auto make = [](const WCHAR* name) {
        return CreateWindowExW(0, name, W(""), WS_POPUP, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    };
    const HWND main = make(W("Static"));
    platform_.setPlatformData(1, main);
    platform_.setPlatformData(0, nullptr);
    platform_.setPlatformData(0, main);
    platform_.restartZelmoDockset();
    const HWND agent = make(W("ZelmoDocksetAgent"));
    platform_.restartZelmoDockset();
    EXPECT_EQ(log_.take(), (Lines{"PlatformWin32 Unknown platform data type 1", "PlatformWin32 Main window set to NULL",
                                  "PlatformWin32 Main window set",
                                  "PlatformWin32 restartZelmoDockset failed to notify agent, Zelmo Dockset will not be "
                                  "auto-restarted"}));
    std::vector<std::pair<HWND, UINT>> posted;
    for (MSG message{}; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE;) {
        if (message.hwnd != nullptr) {
            posted.emplace_back(message.hwnd, message.message);
        }
    }
    EXPECT_EQ(posted, (std::vector<std::pair<HWND, UINT>>{
                          {main, WM_CLOSE}, {agent, agent::AGENT_MSG_RESTART_APPLICATION}, {main, WM_CLOSE}}));
    DestroyWindow(main);
    DestroyWindow(agent);
    platform_.restartZelmoDockset();
    platform_.exitZelmoDockset();
    EXPECT_EQ(log_.take().back(), "PlatformWin32 exitZelmoDockset failed to post WM_CLOSE with error 1400");
}

TEST_F(PlatformSystemTest, TakesTheConfigurationsWordOnUserData) {
    EXPECT_FALSE(platform_.isKeepUserDataEnabled());
    const auto path = session_.path() / "home/Documents/Tavrin/Zelmo Dockset/zd-config.xml";
    for (const auto& [word, kept] : {std::pair{"yes", true}, std::pair{"no", false}, std::pair{"true", false}}) {
        std::ofstream(path.string()) << "<config><device-repair><enable-keep-userdata>" << word
                                     << "</enable-keep-userdata></device-repair></config>";
        EXPECT_EQ(dockset::PlatformWin32(nullptr).isKeepUserDataEnabled(), kept);
    }
}

}  // namespace
