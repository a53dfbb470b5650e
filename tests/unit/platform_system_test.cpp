// What the platform's operations make of the system's refusals; on a healthy system the whole program shows them.

#include "platform/os_version.h"
#include "platform/platform_win32.h"
#include "session_test.h"

namespace {

using tests::Lines;

TEST(OsVersion, IsNamedByNumberAndBuild) {
    const auto describe = [](DWORD build, BYTE product) {
        OSVERSIONINFOEXA version{};
        version.dwMajorVersion = 10;
        version.dwBuildNumber = build;
        version.wProductType = product;
        return dockset::describeVersion(version, PROCESSOR_ARCHITECTURE_AMD64);
    };
    EXPECT_EQ(describe(21999, VER_NT_WORKSTATION), "Windows 10  64 bit");
    EXPECT_EQ(describe(22000, VER_NT_WORKSTATION), "Windows 11  64 bit");
    EXPECT_EQ(describe(17762, 3), "Windows Server 2016 TP  64 bit");
    EXPECT_EQ(describe(17763, 3), "Windows Server 2019  64 bit");
}

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
}

}  // namespace
