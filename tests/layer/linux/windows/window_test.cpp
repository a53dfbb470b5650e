#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <chrono>
#include <string>
#include <vector>

#include "layer/linux/child_process.h"
#include "layer/test_window.h"
#include "temp_session.h"
#include "win32/kernel.h"
#include "win32/window.h"

namespace {

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_USER) {
        tellLine(childOutput, std::to_string(wParam));
    } else if (message == WM_USER + 1) {
        tellLine(childOutput, "busy");
        for (;;) {
            Sleep(1);
        }
    } else if (message == WM_DESTROY) {
        tellLine(childOutput, "destroyed");
        PostQuitMessage(0);
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND createWindow() { return create({W("ZelmoForeign"), procedure}); }

// A program with a window; after that is gone it stays.
int playWindow() {
    createWindow();
    tellLine(childOutput, std::to_string(RegisterWindowMessageW(W("ZelmoShared"))));
    for (MSG message{}; message.message != WM_QUIT;) {
        while (message.message != WM_QUIT && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            DispatchMessageW(&message);
        }
        Sleep(1);
    }
    tellLine(childOutput, "quit");
    for (;;) {
        Sleep(1);
    }
}

const ChildRole role("window", playWindow);

std::vector<HWND> windowsOfClass() {
    std::vector<HWND> found;
    EnumWindows(
        [](HWND window, LPARAM parameter) -> BOOL {
            char name[254];
            if (GetClassNameA(window, name, sizeof(name)) > 0 && std::string(name) == "ZelmoForeign") {
                reinterpret_cast<std::vector<HWND>*>(parameter)->push_back(window);
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&found));
    return found;
}

class WindowProcessesTest : public testing::Test {
protected:
    boost::filesystem::path folder() const { return session_.path() / "runtime" / "zelmo-dockset" / "window"; }

private:
    tests::TempSession session_;
};

TEST_F(WindowProcessesTest, HungProcessDoesNotHoldUpThePoster) {
    ChildProcess child("window");
    child.hear();
    const HWND window = windowsOfClass().at(0);
    child.signal(SIGSTOP);
    const auto start = std::chrono::steady_clock::now();
    int posted = 0;
    while (posted < 20'000 && PostMessageW(window, WM_USER, 1, 0)) {
        ++posted;
    }
    EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_QUOTA);
    EXPECT_GT(posted, 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

TEST_F(WindowProcessesTest, FirstSignalClosesAndTheNextEnds) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        ChildProcess child("window");
        child.hear();
        child.signal(number);
        EXPECT_EQ(child.hear(), "destroyed");
        EXPECT_EQ(child.hear(), "quit");
        child.signal(SIGTERM);
        EXPECT_EQ(child.wait(), SIGTERM);
    }
    ChildProcess closed("window");  // no signal yet, but no window either
    closed.hear();
    ASSERT_TRUE(PostMessageW(windowsOfClass().at(0), WM_CLOSE, 0, 0));
    EXPECT_EQ(closed.hear(), "destroyed");
    EXPECT_EQ(closed.hear(), "quit");
    closed.signal(SIGINT);
    EXPECT_EQ(closed.wait(), SIGINT);

    ChildProcess busy("window");  // not looking for messages: the second signal ends it all the same
    busy.hear();
    ASSERT_TRUE(PostMessageW(windowsOfClass().at(0), WM_USER + 1, 0, 0));
    ASSERT_EQ(busy.hear(), "busy");
    busy.signal(SIGTERM);
    busy.signal(SIGHUP);
    const int status = busy.wait();
    EXPECT_TRUE(status == SIGTERM || status == SIGHUP) << status;
}

}  // namespace
