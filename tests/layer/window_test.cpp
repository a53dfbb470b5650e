#include "win32/window.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "layer/test_window.h"
#include "temp_session.h"

namespace {

constexpr LPCWSTR className = W("ZelmoTestWindow");

struct Seen {
    HWND window;
    UINT message;
    WPARAM wParam;
    bool operator==(const Seen&) const = default;
};
std::vector<Seen> seen;
UINT failing = WM_NULL;  // a message of the creation that the procedure says no to

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    // A system may send more than these.
    for (const UINT promised : {WM_NCCREATE, WM_CREATE, WM_CLOSE, WM_DESTROY, WM_NCDESTROY, WM_TIMER, WM_USER}) {
        if (message == promised) {
            seen.push_back({window, message, message == WM_TIMER ? wParam : 0});
        }
    }
    if (message == WM_CREATE) {
        EXPECT_TRUE(IsWindow(window));
        const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
        EXPECT_EQ(creation->cx, 348);
        EXPECT_EQ(WideString(creation->lpszName), W("title"));
    }
    if (message == WM_DESTROY) {
        PostQuitMessage(7);
    }
    if (message == failing) {
        return message == WM_CREATE ? -1 : 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

HWND create(DWORD style = WS_POPUP, HWND parent = nullptr, LPVOID parameter = nullptr) {
    return create(TestWindow{className, procedure, style, {0, 0, 348, 287}, parent, parameter, W("title")});
}

std::vector<Seen> expectedFor(HWND window, std::initializer_list<UINT> messages) {
    std::vector<Seen> expected;
    for (const UINT message : messages) {
        expected.push_back({window, message, 0});
    }
    return expected;
}

class WindowTest : public testing::Test {
protected:
    void SetUp() override {
        seen.clear();
        failing = WM_NULL;
    }
    void TearDown() override { pump(); }

private:
    tests::TempSession session_;
};

TEST_F(WindowTest, LivesFromCreateToDestroy) {
    int context = 0;
    const HWND window = create(WS_POPUP, nullptr, &context);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(GetWindowLongPtrW(window, GWLP_USERDATA), reinterpret_cast<LONG_PTR>(&context));
    char name[254] = "";
    EXPECT_EQ(GetClassNameA(window, name, sizeof(name)), 15);
    EXPECT_EQ(std::string(name), "ZelmoTestWindow");
    EXPECT_EQ(SendMessageW(window, WM_USER, 0, 0), 0);
    EXPECT_EQ(seen.back().message, WM_USER);
    seen.pop_back();
    EXPECT_EQ(create(WS_CHILD), nullptr);
    const HWND child = create(WS_CHILD, window);
    EXPECT_FALSE(ShowWindow(child, SW_SHOW));
    EXPECT_FALSE(IsWindowVisible(child));  // its parent isn't
    const HWND logo = CreateWindowExW(0, W("STATIC"), W(""), WS_CHILD, 0, 0, 1, 1, window, nullptr, nullptr, nullptr);
    EXPECT_NE(logo, nullptr);
    std::thread([&] {
        EXPECT_FALSE(DestroyWindow(window));
        EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    }).join();
    SetTimer(window, 1, 10, nullptr);
    EXPECT_TRUE(PostMessageW(window, WM_CLOSE, 0, 0));
    EXPECT_TRUE(PostMessageW(window, WM_USER, 0, 0));  // never arrives
    const auto messages = pump();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages[1].message, WM_QUIT);
    EXPECT_EQ(messages[1].wParam, 7U);

    auto expected = expectedFor(window, {WM_NCCREATE, WM_CREATE});
    for (const auto& more : {expectedFor(child, {WM_NCCREATE, WM_CREATE}), expectedFor(window, {WM_CLOSE, WM_DESTROY}),
                             expectedFor(child, {WM_DESTROY, WM_NCDESTROY}), expectedFor(window, {WM_NCDESTROY})}) {
        expected.insert(expected.end(), more.begin(), more.end());
    }
    EXPECT_EQ(seen, expected);
    EXPECT_FALSE(IsWindow(window) || IsWindow(child) || IsWindow(logo));
    EXPECT_FALSE(PostMessageW(window, WM_USER, 0, 0));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_WINDOW_HANDLE);
}

TEST_F(WindowTest, ProcedureCanRefuseCreation) {
    for (const UINT message : {WM_NCCREATE, WM_CREATE}) {
        failing = message;
        EXPECT_EQ(create(), nullptr);
        EXPECT_EQ(seen.back().message, WM_NCDESTROY);
        EXPECT_FALSE(IsWindow(seen.back().window));
    }
}

TEST_F(WindowTest, MessagesComeInOrderAndBeforeQuitAndTimers) {
    const HWND window = create();
    SetTimer(window, 5, 1, nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(25));  // two periods: still one tick
    PostQuitMessage(3);
    std::thread([&] {
        PostMessageW(window, WM_USER, 1, 0);
        PostMessageW(window, WM_USER, 2, 0);
    }).join();
    PostMessageW(window, WM_USER, 3, 0);
    std::vector<WPARAM> order;
    MSG message{};
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_NOREMOVE));
        const MSG kept = message;
        ASSERT_TRUE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));
        EXPECT_EQ(kept.message, message.message);
        EXPECT_EQ(kept.wParam, message.wParam);
        order.push_back(message.message == WM_USER ? message.wParam : 1000 + message.message);
    }
    EXPECT_EQ(order, (std::vector<WPARAM>{1, 2, 3, 1000 + WM_QUIT, 1000 + WM_TIMER}));
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE));

    EXPECT_TRUE(KillTimer(window, 5));
    DestroyWindow(window);
}

TEST_F(WindowTest, TimerTicksUntilKilled) {
    const HWND window = create();
    seen.clear();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SetTimer(window, 12, 20, nullptr), 12U);
    while (seen.size() < 3 && std::chrono::steady_clock::now() - start < std::chrono::seconds(10)) {
        pump();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
    EXPECT_EQ(seen, std::vector<Seen>(3, {window, WM_TIMER, 12}));
    DestroyWindow(window);
}

TEST_F(WindowTest, PostsCarryNoAddresses) {
    const HWND window = create();
    seen.clear();
    for (const UINT message : {WM_CREATE, WM_NCCREATE, WM_DRAWITEM}) {
        EXPECT_FALSE(PostMessageW(window, message, 0, 0x1234));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_MESSAGE_SYNC_ONLY});
    }
    EXPECT_TRUE(PostMessageW(window, WM_TIMER, 1, 0x1234));
    pump();
    EXPECT_TRUE(seen.empty()) << "no timer has that procedure";
    DestroyWindow(window);
}

TEST_F(WindowTest, RegisteredMessagesHaveANumberEach) {
    const UINT created = RegisterWindowMessageW(W("TaskbarCreated"));
    EXPECT_TRUE(created >= 0xC000U && created <= 0xFFFFU);
    EXPECT_NE(RegisterWindowMessageW(W("Taskbar\nCreated")), created);
    EXPECT_EQ(RegisterWindowMessageW(W("taskbarcreated")), created);
}

TEST_F(WindowTest, EachThreadHasItsMessages) {
    const HWND window = create();
    HWND other = nullptr;
    std::thread([&] {
        other = create();
        EXPECT_TRUE(PostMessageW(window, WM_USER, 9, 0));
        EXPECT_TRUE(PostMessageW(other, WM_USER, 4, 0));
        const auto messages = pump();
        ASSERT_EQ(messages.size(), 1U);
        EXPECT_EQ(messages[0].hwnd, other);
    }).join();
    EXPECT_FALSE(IsWindow(other));  // gone with its thread
    EXPECT_EQ(pump().size(), 1U);
    DestroyWindow(window);
}

}  // namespace
