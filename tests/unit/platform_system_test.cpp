// What the platform's operations make of the system's refusals; on a healthy system the whole program shows them.

#include "platform/os_version.h"
#include "platform/platform_win32.h"
#include "session_test.h"
#include "win32/kernel.h"
#include "win32/system.h"

namespace {

using tests::Lines;

class PlatformSystemTest : public tests::SessionTest {
protected:
    PlatformSystemTest() { log_.take(); }

    void* start(const std::string& path, const std::string& arguments = {}, const std::string& directory = {}) {
        return platform_.startProcess(base::widen(path), arguments, base::widen(directory), &cancelled_, &error_);
    }

    dockset::PlatformWin32 platform_{nullptr};
    std::uint32_t cancelled_ = 7;
    std::string error_ = "earlier";
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
    for (const char* const operation : {"GetVersionExA", "GetVersionExA", "GlobalMemoryStatusEx", "__cpuid",
                                        "GetSystemPowerStatus", "GetLocaleInfoA"}) {
        win32::script::failNext(operation, ERROR_NOT_SUPPORTED);
    }
    EXPECT_EQ(platform_.getOSVersion(), "");
    EXPECT_EQ(platform_.getOSVersionIdentifier(), "Windows Unknown 64 bit build");
    EXPECT_EQ(platform_.getRAMSize(), "-");
    EXPECT_EQ(platform_.getCPUName(), "unknown");
    EXPECT_FALSE(platform_.isComputerRunningOnBattery());
    EXPECT_EQ(platform_.getCountryCode(), "US");
    EXPECT_EQ(platform_.getDiskFreeSpace(W("/no such")), 0U);
    EXPECT_EQ(log_.take(),
              (Lines{"getOSVersion GetVersionExA failed with 50", "getOSVersionIdentifier GetVersionExA failed with 50",
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
    const auto sizeOf = [&](const char* name) {
        std::uint64_t size = 5;
        const bool walked = platform_.getDirectorySize(directory.wide(name), size);
        EXPECT_TRUE(walked || size == 0);
        return walked ? static_cast<int>(size) : -1;
    };
    EXPECT_EQ(sizeOf(""), 1024);
    EXPECT_EQ(sizeOf("a/"), 24);
    EXPECT_EQ(sizeOf("none"), -1);
    std::uint64_t size = 5;
    EXPECT_FALSE(platform_.getDirectorySize(W(""), size) || size != 0);
    win32::script::failNext("FindFirstFileW", ERROR_ACCESS_DENIED, 1);
    EXPECT_EQ(sizeOf(""), 1000) << "a directory that can't be listed counts nothing";
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
    EXPECT_EQ(log_.take(), (Lines{"base Failed to enable no-sleep mode, 0x578", "base Failed to disable no-sleep mode",
                                  "base Failed to close power request handle"}));
}

TEST_F(PlatformSystemTest, TakesTheConfigurationsWord) {
    const auto configured = [this](const std::string& text) {
        session_.write("zd-config.xml", "<config>" + text + "</config>");
        log_.take();
        return dockset::PlatformWin32(nullptr);
    };
    for (const auto& [word, kept] : {std::pair{"yes", true}, {"no", false}, {"true", false}}) {
        auto platform = configured("<device-repair><enable-keep-userdata>" + std::string(word) +
                                   "</enable-keep-userdata></device-repair>");
        EXPECT_EQ(platform.isKeepUserDataEnabled(), kept);
    }
    auto platform = configured("<localization><language-code>fr-CA</language-code></localization>");
    EXPECT_EQ(platform.getPreferredLocales(), Lines{"fr-CA"});
    EXPECT_EQ(platform.getLocale(), "fr-CA");
}

TEST_F(PlatformSystemTest, NamesTheUsersLocales) {
    const tests::EnvironmentSetting languages("LANGUAGE", "de:fr_CA");
    const tests::EnvironmentSetting all("LC_ALL", nullptr);
    const tests::EnvironmentSetting messages("LC_MESSAGES", nullptr);
    const tests::EnvironmentSetting language("LANG", "de_AT.UTF-8");
    session_.write("zd-config.xml",
                   "<config><localization><language-code>default</language-code></localization></config>");
    dockset::PlatformWin32 platform(nullptr);
    log_.take();
    EXPECT_EQ(platform.getPreferredLocales(), (Lines{"de", "fr-CA", "de-AT"}));
    EXPECT_EQ(log_.take(), (Lines{"getPreferredLocales Found locale de", "getPreferredLocales Found locale fr-CA",
                                  "getPreferredLocales Found locale de-AT", "getPreferredLocales 3 locales found"}));
    win32::script::failNext("GetUserPreferredUILanguages", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(platform.getPreferredLocales(), Lines{"de-AT"});
    EXPECT_EQ(log_.take(),
              (Lines{"getPreferredLocales GetUserPreferredUILanguages failed with 8", "getLocale Found locale de-AT"}));
    win32::script::failNext("GetLocaleInfoA", ERROR_INVALID_PARAMETER);
    win32::script::failNext("GetLocaleInfoA", ERROR_INVALID_PARAMETER, 1);
    EXPECT_EQ(platform.getLocale(), "en-US");
    EXPECT_EQ(platform.getLocale(), "en-US");
    EXPECT_EQ(log_.take(),
              (Lines{"getLocale LOCALE_SISO639LANGNAME failed", "getLocale LOCALE_SISO3166CTRYNAME failed"}));
}

TEST_F(PlatformSystemTest, ComposesTheCommandLine) {
    const auto composed = [&](const std::string& path, const std::string& arguments,
                              const std::string& directory = {}) {
        win32::script::failNext("CreateProcessW", ERROR_FILE_NOT_FOUND);
        EXPECT_EQ(start(path, arguments, directory), nullptr);
        return win32::script::calls("CreateProcessW").back();
    };
    EXPECT_EQ(composed("/a b", ""), "/a b||");
    EXPECT_EQ(composed("/a b", "/S", "/d"), "/a b|\"/a b\" /S|/d");
    EXPECT_EQ(composed("\"/a b\"", "/S"), "\"/a b\"|\"/a b\" /S|");
    EXPECT_EQ(composed("/a", "/S"), "/a|/a /S|");
    EXPECT_EQ(composed("msiexec.exe", "/i \xE4"), "|msiexec.exe /i \xC3\xA4|");
    EXPECT_EQ(error_, "CreateProcessW 2");
    EXPECT_EQ(cancelled_, 0U);
    EXPECT_EQ(log_.lines().back(), "PlatformWin32 startProcess CreateProcessW returned 2 trying to start msiexec.exe");
}

TEST_F(PlatformSystemTest, ElevatesWhatNeedsIt) {
    const std::string program = session_.makeProgram("program", "exit 0");
    win32::script::failNext("CreateProcessW", ERROR_ELEVATION_REQUIRED);
    win32::script::failNext("ShellExecuteExW", ERROR_CANCELLED);
    EXPECT_EQ(start(program, "/S /F"), nullptr);
    EXPECT_EQ(win32::script::calls("ShellExecuteExW").back(), "runas|" + program + "|" + program + " /S /F|");
    EXPECT_EQ(cancelled_, 1U);
    EXPECT_EQ(error_, "ShellExecuteExW 1223, 0");
    const std::string before = "PlatformWin32 startProcess ";
    EXPECT_EQ(log_.take(), (Lines{before + "CreateProcessW returned elevation required trying to start " + program +
                                      ", retrying with ShellExecuteEx",
                                  before + "ShellExecuteExW returned 1223 trying to start " + program,
                                  before + "detail error = 0"}));
    const tests::EnvironmentSetting searched("PATH", (session_.path().string() + ":" + std::getenv("PATH")).c_str());
    session_.makeProgram("pkexec", "[ \"$1\" = --help ] && exec echo --keep-cwd; shift; exec \"$@\"");
    win32::script::failNext("CreateProcessW", ERROR_ELEVATION_REQUIRED);
    win32::script::failNext("process handle", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(start(program), nullptr);
    EXPECT_EQ(error_, "ShellExecuteExW HANDLE MISSING");
    EXPECT_EQ(log_.take().back(), before + "ShellExecuteExW returned success but no process handle...");
}

TEST_F(PlatformSystemTest, WaitsAndPolls) {
    void* const process = start(session_.makeProgram("sleeper", "exec sleep 60"));
    ASSERT_NE(process, nullptr);
    std::uint32_t code = 5;
    EXPECT_FALSE(platform_.pollProcess(process, &code));
    EXPECT_EQ(code, 0xFFFFFFFFU);
    log_.take();
    win32::script::failNext("WaitForSingleObject", WAIT_TIMEOUT);
    EXPECT_FALSE(platform_.waitForProcess(process, 999, &code));
    EXPECT_EQ(log_.take(), Lines{"PlatformWin32 WaitForSingleObject WAIT_FAILED error = 258"});
    EXPECT_FALSE(platform_.waitForProcess(process, 1000, nullptr));
    EXPECT_EQ(log_.take(), Lines{"PlatformWin32 WaitForSingleObject on process returned 258"});
    EXPECT_NE(platform_.killProcess(process), 0);
    EXPECT_TRUE(platform_.waitForProcess(process, INFINITE, &code));
    EXPECT_EQ(code, 0U);
    for (const bool polls : {false, true}) {
        win32::script::failNext("GetExitCodeProcess", ERROR_INVALID_HANDLE);
        EXPECT_TRUE(polls ? platform_.pollProcess(process, &code) : platform_.waitForProcess(process, 0, &code));
        EXPECT_EQ(code, 0xFFFFFFFFU);
    }
    EXPECT_EQ(log_.take(), Lines{"PlatformWin32 GetExitCodeProcess failed with 6"});
    platform_.closeProcess(process);
    EXPECT_FALSE(platform_.waitForProcess(nullptr, 1000, &code));
    EXPECT_EQ(platform_.killProcess(nullptr), 0);
    platform_.closeProcess(nullptr);
    EXPECT_EQ(log_.take(), Lines());
}

}  // namespace
