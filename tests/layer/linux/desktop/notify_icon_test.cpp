// The icon's model, beside a desktop that is only pretended.

#include "win32/notify_icon.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "temp_session.h"
#include "win32/script.h"

namespace {

class NotifyIconTest : public testing::Test {
protected:
    void SetUp() override {
        icon.cbSize = sizeof(icon);
        icon.hWnd = CreateWindowExW(0, W("Static"), W(""), WS_POPUP, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
        icon.uID = 101;
        icon.uFlags = NIF_MESSAGE | NIF_TIP | NIF_GUID | NIF_SHOWTIP;
        icon.uCallbackMessage = WM_USER;
        icon.uVersion = NOTIFYICON_VERSION_4;
        icon.guidItem.Data1 = 1;
        WideString(W("tip")).copy(icon.szTip, 3);
        win32::script::pretendDesktop({{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}}});
    }
    void TearDown() override {
        Shell_NotifyIconW(NIM_DELETE, &icon);
        DestroyWindow(icon.hWnd);
        win32::script::reset();
    }

    static bool has(DWORD guid, RECT* place) {
        NOTIFYICONIDENTIFIER identifier{};
        identifier.cbSize = sizeof(identifier);
        identifier.guidItem.Data1 = guid;
        return SUCCEEDED(Shell_NotifyIconGetRect(&identifier, place));
    }
    static std::string lastAsked() { return win32::script::calls("Shell_NotifyIconW").back(); }

    tests::TempSession session;
    NOTIFYICONDATAW icon{};
};

TEST_F(NotifyIconTest, IsAddedFoundAndDeletedByItsGuid) {
    RECT place{};
    EXPECT_FALSE(has(1, &place));
    EXPECT_FALSE(Shell_NotifyIconW(NIM_SETVERSION, &icon));
    ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_EQ(lastAsked(), "0|101|tip");
    EXPECT_FALSE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_TRUE(Shell_NotifyIconW(NIM_SETVERSION, &icon));
    EXPECT_TRUE(has(1, &place));
    EXPECT_EQ(place.right, 1920);
    icon.guidItem.Data1 = 2;
    EXPECT_FALSE(Shell_NotifyIconW(NIM_MODIFY, &icon));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(E_FAIL));
    ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));  // as after the taskbar's restart
    EXPECT_FALSE(has(1, &place));
    EXPECT_TRUE(has(2, &place));
    icon.uFlags = NIF_INFO | NIF_GUID | NIF_SHOWTIP;
    std::fill(std::begin(icon.szInfoTitle), std::end(icon.szInfoTitle), u'T');  // no end mark
    std::fill(std::begin(icon.szInfo), std::end(icon.szInfo), u'x');
    EXPECT_TRUE(Shell_NotifyIconW(NIM_MODIFY, &icon));
    EXPECT_EQ(lastAsked(), "1|" + std::string(64, 'T') + "|" + std::string(256, 'x'));
    EXPECT_TRUE(Shell_NotifyIconW(NIM_DELETE, &icon));
    EXPECT_FALSE(has(2, &place));
    EXPECT_EQ(lastAsked(), "2");
}

TEST_F(NotifyIconTest, SaysWhenThereIsNoDesktop) {
    win32::script::pretendDesktop({});
    for (const DWORD operation : {NIM_ADD, NIM_MODIFY}) {
        EXPECT_FALSE(Shell_NotifyIconW(operation, &icon));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_TIMEOUT});
        icon.uFlags = NIF_INFO | NIF_GUID;
    }
    RECT place{};
    EXPECT_FALSE(has(1, &place));
}

}  // namespace
