#include <gtest/gtest.h>

#include "captured_log.h"
#include "platform/platform_win32.h"
#include "temp_session.h"
#include "win32/error.h"
#include "win32/kernel.h"
#include "win32/script.h"

namespace {

using tests::Lines;

class PlatformProcessTest : public testing::Test {
protected:
    PlatformProcessTest() { log_.take(); }
    ~PlatformProcessTest() override { win32::script::reset(); }

    std::string makeProgram(const std::string& name, const std::string& body) const {
        const std::string path = (session_.path() / name).string();
        std::ofstream(path) << "#!/bin/sh\n" << body << "\n";
        boost::filesystem::permissions(path, boost::filesystem::owner_all);
        return path;
    }

    void* start(const std::string& path, const std::string& arguments = {}, const std::string& directory = {}) {
        return platform_.startProcess(base::widen(path), arguments, base::widen(directory), &cancelled_, &error_);
    }

    tests::TempSession session_;
    tests::CapturedLog log_;
    dockset::PlatformWin32 platform_{nullptr};
    std::uint32_t cancelled_ = 7;
    std::string error_ = "earlier";
};

TEST_F(PlatformProcessTest, ComposesTheCommandLine) {
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

TEST_F(PlatformProcessTest, ElevatesWhatNeedsIt) {
    const std::string program = makeProgram("program", "exit 0");
    const auto refuse = [&] { win32::script::failNext("CreateProcessW", ERROR_ELEVATION_REQUIRED); };
    refuse();
    log_.take();
    win32::script::failNext("ShellExecuteExW", ERROR_CANCELLED);
    EXPECT_EQ(start(program, "/S /F"), nullptr);
    EXPECT_EQ(win32::script::calls("ShellExecuteExW").back(), "runas|" + program + "|/S /F|");
    EXPECT_EQ(cancelled_, 1U);
    EXPECT_EQ(error_, "ShellExecuteExW 1223, 0");
    EXPECT_EQ(log_.take(),
              (Lines{"PlatformWin32 startProcess CreateProcessW returned elevation required trying to start " +
                         program + ", retrying with ShellExecuteEx",
                     "PlatformWin32 startProcess ShellExecuteExW returned 1223 trying to start " + program,
                     "PlatformWin32 startProcess detail error = 0"}));
    const std::string path = session_.path().string() + ":" + std::getenv("PATH");
    const tests::EnvironmentSetting searched("PATH", path.c_str());
    makeProgram("pkexec", "shift; exec \"$@\"");
    refuse();
    win32::script::failNext("process handle", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(start(program), nullptr);
    EXPECT_EQ(error_, "ShellExecuteExW HANDLE MISSING");
    EXPECT_EQ(log_.take().back(),
              "PlatformWin32 startProcess ShellExecuteExW returned success but no process handle...");
    refuse();
    void* const process = start(program);
    std::uint32_t code = 1;
    EXPECT_TRUE(platform_.waitForProcess(process, INFINITE, &code));
    EXPECT_EQ(code, 0U);
    EXPECT_EQ(cancelled_, 0U);
    platform_.closeProcess(process);
}

TEST_F(PlatformProcessTest, WaitsPollsAndKills) {
    void* const process = start(makeProgram("sleeper", "exec sleep 60"));
    ASSERT_NE(process, nullptr);
    std::uint32_t code = 5;
    EXPECT_FALSE(platform_.pollProcess(process, &code));
    EXPECT_EQ(code, 0xFFFFFFFFU);
    log_.take();
    EXPECT_FALSE(platform_.waitForProcess(process, 20, nullptr));
    win32::script::failNext("WaitForSingleObject", WAIT_TIMEOUT);
    EXPECT_FALSE(platform_.waitForProcess(process, 999, &code));
    EXPECT_EQ(log_.take(), Lines{"PlatformWin32 WaitForSingleObject WAIT_FAILED error = 258"});
    EXPECT_FALSE(platform_.waitForProcess(process, 1000, &code));
    EXPECT_EQ(log_.take(), Lines{"PlatformWin32 WaitForSingleObject on process returned 258"});
    EXPECT_NE(platform_.killProcess(process), 0);
    EXPECT_TRUE(platform_.waitForProcess(process, INFINITE, &code));
    EXPECT_EQ(code, 0U);
    win32::script::failNext("GetExitCodeProcess", ERROR_INVALID_HANDLE);
    win32::script::failNext("GetExitCodeProcess", ERROR_INVALID_HANDLE);
    EXPECT_TRUE(platform_.waitForProcess(process, 0, &code));
    EXPECT_EQ(code, 0xFFFFFFFFU);
    EXPECT_EQ(log_.take(), Lines{"PlatformWin32 GetExitCodeProcess failed with 6"});
    EXPECT_TRUE(platform_.pollProcess(process, &code));
    EXPECT_EQ(code, 0xFFFFFFFFU);
    EXPECT_TRUE(platform_.pollProcess(process, &code));
    EXPECT_EQ(code, 0U);
    platform_.closeProcess(process);
    EXPECT_FALSE(platform_.waitForProcess(nullptr, 1000, &code));
    EXPECT_EQ(code, 0xFFFFFFFFU);
    EXPECT_EQ(platform_.killProcess(nullptr), 0);
    platform_.closeProcess(nullptr);
    EXPECT_EQ(log_.take(), Lines());
}

}  // namespace
