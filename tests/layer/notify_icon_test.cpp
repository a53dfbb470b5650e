// The icon, on Linux beside a desktop that is only pretended.

#include "win32/notify_icon.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "temp_session.h"
#include "win32/kernel.h"
#include "win32/resource.h"

namespace {

class NotifyIconTest : public testing::Test {
protected:
    void SetUp() override {
        icon.cbSize = sizeof(icon);
        icon.hWnd = CreateWindowExW(0, W("Static"), W(""), WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
        icon.uID = 101;
        icon.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_GUID | NIF_SHOWTIP;
        icon.hIcon = LoadIconW(nullptr, IDI_APPLICATION);
        icon.uCallbackMessage = WM_USER;
        icon.uVersion = NOTIFYICON_VERSION_4;
        icon.guidItem.Data1 = 1;
        WideString(W("tip")).copy(icon.szTip, 3);
#ifndef _WIN32
        win32::script::pretendDesktop({{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}}});
#endif
    }
    void TearDown() override {
        Shell_NotifyIconW(NIM_DELETE, &icon);
        DestroyWindow(icon.hWnd);
#ifndef _WIN32
        win32::script::reset();
#endif
    }

    static bool has(DWORD guid, RECT* place) {
        NOTIFYICONIDENTIFIER identifier{};
        identifier.cbSize = sizeof(identifier);
        identifier.guidItem.Data1 = guid;
        return SUCCEEDED(Shell_NotifyIconGetRect(&identifier, place));
    }
    tests::TempSession session;
    NOTIFYICONDATAW icon{};
};

TEST_F(NotifyIconTest, IsAddedOnceAndDeleted) {
    EXPECT_FALSE(Shell_NotifyIconW(NIM_SETVERSION, &icon));
    ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_FALSE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_TRUE(Shell_NotifyIconW(NIM_SETVERSION, &icon));
    icon.uFlags = NIF_INFO | NIF_GUID | NIF_SHOWTIP;
    std::fill(std::begin(icon.szInfoTitle), std::end(icon.szInfoTitle), W('T'));  // no end mark
    std::fill(std::begin(icon.szInfo), std::end(icon.szInfo), W('x'));
    EXPECT_TRUE(Shell_NotifyIconW(NIM_MODIFY, &icon));
    EXPECT_TRUE(Shell_NotifyIconW(NIM_DELETE, &icon));
    EXPECT_FALSE(Shell_NotifyIconW(NIM_DELETE, &icon));
    EXPECT_FALSE(Shell_NotifyIconW(NIM_MODIFY, &icon));
}

TEST_F(NotifyIconTest, IsFoundByItsGuid) {
    RECT place{};
    ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_TRUE(has(1, &place));
    EXPECT_GT(place.right, place.left);
    EXPECT_FALSE(has(2, &place));
}

#ifndef _WIN32

TEST_F(NotifyIconTest, SaysWhenThereIsNoDesktop) {
    win32::script::pretendDesktop({});
    for (const DWORD operation : {NIM_ADD, NIM_MODIFY}) {
        EXPECT_FALSE(Shell_NotifyIconW(operation, &icon));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_TIMEOUT});
        icon.uFlags = NIF_INFO | NIF_GUID;
    }
}

#endif

}  // namespace
