#include "win32/notify_icon.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "temp_session.h"
#include "win32/menu.h"
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
        setText(icon.szTip, W("tip"));
        win32::script::pretendDesktop({{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}}});
    }
    void TearDown() override {
        Shell_NotifyIconW(NIM_DELETE, &icon);
        DestroyWindow(icon.hWnd);
        win32::script::reset();
    }

    template <std::size_t size>
    static void setText(WCHAR (&field)[size], const WideString& text) {
        std::fill(field, field + size, WCHAR{});
        text.copy(field, size);
    }

    bool has(DWORD guid, RECT* place) const {
        NOTIFYICONIDENTIFIER identifier{};
        identifier.cbSize = sizeof(identifier);
        identifier.guidItem.Data1 = guid;
        return SUCCEEDED(Shell_NotifyIconGetRect(&identifier, place));
    }

    tests::TempSession session;
    NOTIFYICONDATAW icon{};
};

TEST_F(NotifyIconTest, IsAddedFoundAndDeletedByItsGuid) {
    RECT place{};
    EXPECT_FALSE(has(1, &place));
    EXPECT_FALSE(Shell_NotifyIconW(NIM_SETVERSION, &icon));
    ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));
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
    EXPECT_TRUE(Shell_NotifyIconW(NIM_DELETE, &icon));
    EXPECT_FALSE(has(2, &place));
    EXPECT_EQ(win32::script::calls("Shell_NotifyIconW").back(), "2");
}

TEST_F(NotifyIconTest, ShowsBalloonsThatFillTheirFields) {
    ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_EQ(win32::script::calls("Shell_NotifyIconW").back(), "0|101|tip");
    icon.uFlags = NIF_INFO | NIF_GUID | NIF_SHOWTIP;
    setText(icon.szInfoTitle, WideString(64, u'T'));  // no end mark
    setText(icon.szInfo, WideString(256, u'x'));
    EXPECT_TRUE(Shell_NotifyIconW(NIM_MODIFY, &icon));
    EXPECT_EQ(win32::script::calls("Shell_NotifyIconW").back(),
              "1|" + std::string(64, 'T') + "|" + std::string(256, 'x'));
}

TEST_F(NotifyIconTest, SaysWhenThereIsNoDesktop) {
    win32::script::pretendDesktop({});
    EXPECT_FALSE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_TIMEOUT});
    icon.uFlags = NIF_INFO | NIF_GUID;
    EXPECT_FALSE(Shell_NotifyIconW(NIM_MODIFY, &icon));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_TIMEOUT});
    RECT place{};
    EXPECT_FALSE(has(1, &place));
    icon.cbSize = 1;
    EXPECT_FALSE(Shell_NotifyIconW(NIM_ADD, &icon));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
}

TEST_F(NotifyIconTest, MenuIsShownOnADesktopOnly) {
    const HMENU menu = CreatePopupMenu();
    EXPECT_TRUE(AppendMenuW(menu, MF_STRING, 1, W("Launch")));
    EXPECT_TRUE(AppendMenuW(menu, MF_SEPARATOR, 4, nullptr));
    EXPECT_TRUE(AppendMenuW(menu, MF_STRING, 0, W("Schlie\u00DFen")));
    EXPECT_TRUE(TrackPopupMenu(menu, TPM_RIGHTBUTTON, 3, 4, 0, icon.hWnd, nullptr));
    EXPECT_EQ(win32::script::calls("TrackPopupMenu").back(),
              "3|4|Launch|-|Schlie\xC3\x9F"
              "en");
    EXPECT_FALSE(TrackPopupMenu(menu, TPM_RIGHTBUTTON, 3, 4, 0, nullptr, nullptr));
    win32::script::pretendDesktop({});
    EXPECT_FALSE(TrackPopupMenu(menu, TPM_RIGHTBUTTON, 3, 4, 0, icon.hWnd, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    EXPECT_TRUE(DestroyMenu(menu));
}

}  // namespace
