// A second process: its start and end, what finds it, what reaches it, and what it leaves when it is killed.

#include "win32/process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "layer/child_role.h"
#include "layer/test_window.h"
#include "temp_session.h"
#include "win32/mutex.h"
#include "win32/pipe.h"
#include "win32/shell.h"

namespace {

constexpr LPCWSTR mutexName = W("ZelmoHeld{16B1AE03-CCC3-48F6-A5CB-781B398B6776}");
constexpr LPCWSTR pipeName = W("\\\\.\\pipe\\ZelmoHeld{16B1AE03-CCC3-48F6-A5CB-781B398B6776}");
constexpr DWORD ready = WM_USER + 1;

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_DESTROY) {
        PostQuitMessage(static_cast<int>(GetWindowLongPtrW(window, GWLP_USERDATA)));
    } else if (message == ready) {
        SetWindowLongPtrW(window, GWLP_USERDATA, static_cast<LONG_PTR>(wParam));
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

const ChildRole seven("seven", [] { return 7; });
// Holds a mutex and serves a pipe until its window is closed, and ends with the last number that was posted to it.
const ChildRole holder("holder", [] {
    CreateMutexW(nullptr, TRUE, mutexName);
    CreateNamedPipeW(pipeName, PIPE_ACCESS_DUPLEX, PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, 1, 512, 512, 0, nullptr);
    create({W("ZelmoHolder"), procedure});
    for (MSG message{};; Sleep(1)) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
            if (message.message == WM_QUIT) {
                return static_cast<int>(message.wParam);
            }
            DispatchMessageW(&message);
        }
    }
});

// The holder's window, once it is there.
HWND holdersWindow() {
    HWND found = nullptr;
    for (int i = 0; i < 1000 && found == nullptr; ++i) {
        Sleep(10);
        EnumWindows(
            [](HWND window, LPARAM parameter) -> BOOL {
                std::array<WCHAR, 64> name{};
                const bool isIt =
                    GetClassNameW(window, name.data(), 64) > 0 && name.data() == WideString(W("ZelmoHolder"));
                if (isIt) {
                    *reinterpret_cast<HWND*>(parameter) = window;
                }
                return isIt ? FALSE : TRUE;
            },
            reinterpret_cast<LPARAM>(&found));
    }
    return found;
}

class ProcessTest : public testing::Test {
    tests::TempSession session_;
};

TEST_F(ProcessTest, IsFoundByItsNumberAndTerminated) {
    EXPECT_EQ(RoleProcess("seven").exitCode(), 7U);
    const RoleProcess child("holder");
    ASSERT_NE(holdersWindow(), nullptr);
    DWORD code = 0;
    EXPECT_NE(GetExitCodeProcess(child.handle(), &code), FALSE);
    EXPECT_EQ(code, STILL_ACTIVE);
    EXPECT_EQ(WaitForSingleObject(child.handle(), 0), DWORD{WAIT_TIMEOUT});
    std::vector<DWORD> numbers(2048);
    DWORD used = 0;
    ASSERT_NE(K32EnumProcesses(numbers.data(), 8192, &used), FALSE);
    numbers.resize(used / sizeof(DWORD));
    EXPECT_EQ(std::count(numbers.begin(), numbers.end(), child.id()), 1);
    EXPECT_EQ(std::count(numbers.begin(), numbers.end(), GetCurrentProcessId()), 1);
    const base::Handle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION | PROCESS_TERMINATE, FALSE, child.id()));
    WideString path(1024, WCHAR{});
    DWORD size = 1024;
    ASSERT_NE(QueryFullProcessImageNameW(process.get(), 0, path.data(), &size), FALSE);
    EXPECT_EQ(path.substr(0, size), ownPath());
    EXPECT_NE(TerminateProcess(process.get(), 9), FALSE);
    EXPECT_EQ(child.exitCode(), 9U);
    EXPECT_EQ(OpenProcess(PROCESS_TERMINATE, FALSE, 0x7FFFFFF0), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    constexpr auto empty = static_cast<SIZE_T>(-1);
    EXPECT_NE(SetProcessWorkingSetSize(GetCurrentProcess(), empty, empty), FALSE);
}

TEST_F(ProcessTest, IsStartedByTheShell) {
    const WideString program = ownPath();
    const WideString option = optionFor("seven");
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_NO_UI;
    info.lpFile = program.c_str();
    info.lpParameters = option.c_str();
    ASSERT_NE(ShellExecuteExW(&info), FALSE);
    const base::Handle process(info.hProcess);
    DWORD code = 0;
    EXPECT_EQ(WaitForSingleObject(process.get(), 10'000), WAIT_OBJECT_0);
    EXPECT_NE(GetExitCodeProcess(process.get(), &code), FALSE);
    EXPECT_EQ(code, 7U);
    info.lpFile = W("zelmo-not-there.exe");
    EXPECT_EQ(ShellExecuteExW(&info), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
    const auto open = [](LPCWSTR file, LPCWSTR parameters) {
        return reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, W("open"), file, parameters, nullptr, SW_HIDE));
    };
    EXPECT_GT(open(program.c_str(), option.c_str()), 32);
    EXPECT_LE(
        reinterpret_cast<INT_PTR>(ShellExecuteA(nullptr, "open", "zelmo-not-there.exe", nullptr, nullptr, SW_HIDE)),
        32);
}

TEST_F(ProcessTest, TakesMessagesInTheirOrder) {
    const RoleProcess child("holder");
    const HWND window = holdersWindow();
    ASSERT_NE(window, nullptr);
    for (WPARAM i = 1; i <= 100; ++i) {
        EXPECT_NE(PostMessageW(window, ready, i, 0), FALSE);
    }
    EXPECT_NE(PostMessageW(window, WM_CLOSE, 0, 0), FALSE);
    EXPECT_EQ(child.exitCode(), 100U);
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(PostMessageW(window, ready, 0, 0), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_WINDOW_HANDLE});
}

TEST_F(ProcessTest, LeavesNothingLockedWhenItIsKilled) {
    const RoleProcess child("holder");
    ASSERT_NE(holdersWindow(), nullptr);
    const base::Handle mutex(OpenMutexW(SYNCHRONIZE, FALSE, mutexName));
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 20), DWORD{WAIT_TIMEOUT});
    EXPECT_NE(WaitNamedPipeW(pipeName, 1000), FALSE);
    const HANDLE pipe = CreateFileW(pipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
    EXPECT_NE(TerminateProcess(child.handle(), 3), FALSE);
    EXPECT_EQ(child.exitCode(), 3U);
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 5000), DWORD{WAIT_ABANDONED});
    EXPECT_NE(ReleaseMutex(mutex.get()), FALSE);
    char byte = 0;
    DWORD done = 0;
    EXPECT_EQ(ReadFile(pipe, &byte, 1, &done, nullptr), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_BROKEN_PIPE});
    CloseHandle(pipe);
    EXPECT_EQ(WaitNamedPipeW(pipeName, 0), FALSE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_FILE_NOT_FOUND});
}

}  // namespace
