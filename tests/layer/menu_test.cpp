#include "win32/menu.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<UINT> idsOf(HMENU menu) {
    std::vector<UINT> ids;
    for (int i = 0; i < GetMenuItemCount(menu); ++i) {
        ids.push_back(GetMenuItemID(menu, i));
    }
    return ids;
}

WideString textOf(HMENU menu, UINT item, UINT flags) {
    WCHAR buffer[64]{};
    const int length = GetMenuStringW(menu, item, buffer, 64, flags);
    return {buffer, static_cast<std::size_t>(length)};
}

HMENU makeMenu() {
    const HMENU menu = CreatePopupMenu();
    EXPECT_TRUE(AppendMenuW(menu, MF_STRING, 1, W("Launch")));
    EXPECT_TRUE(AppendMenuW(menu, MF_SEPARATOR, 4, nullptr));
    EXPECT_TRUE(AppendMenuW(menu, MF_STRING, 0, W("Close")));
    return menu;
}

TEST(MenuTest, InsertsAndDeletesByIdAndByPlace) {
    const HMENU menu = makeMenu();
    ASSERT_TRUE(InsertMenuW(menu, 4, MF_BYCOMMAND, 2, W("Download")));
    EXPECT_EQ(idsOf(menu), (std::vector<UINT>{1, 2, 4, 0}));
    EXPECT_EQ(textOf(menu, 2, MF_BYCOMMAND), W("Download"));
    EXPECT_EQ(textOf(menu, 2, MF_BYPOSITION), W(""));
    ASSERT_TRUE(InsertMenuW(menu, 0, MF_BYPOSITION, 9, W("first")));
    SetLastError(NO_ERROR);
    ASSERT_TRUE(InsertMenuW(menu, 0xFFFFFFFF, MF_BYPOSITION, 8, W("last")));
    EXPECT_EQ(GetLastError(), DWORD{NO_ERROR});
    EXPECT_EQ(idsOf(menu), (std::vector<UINT>{9, 1, 2, 4, 0, 8}));
    WCHAR cut[5]{};
    EXPECT_EQ(GetMenuStringW(menu, 9, cut, 5, MF_BYCOMMAND), 4);
    EXPECT_EQ(WideString(cut), W("firs"));
    EXPECT_EQ(GetMenuStringW(menu, 9, cut, 0, MF_BYCOMMAND), 5);
    EXPECT_EQ(GetMenuStringW(menu, 9, nullptr, 5, MF_BYCOMMAND), 5);
    EXPECT_TRUE(DeleteMenu(menu, 0, MF_BYCOMMAND));
    EXPECT_TRUE(DeleteMenu(menu, 0, MF_BYPOSITION));
    EXPECT_TRUE(DeleteMenu(menu, 2, MF_BYCOMMAND));
    EXPECT_EQ(idsOf(menu), (std::vector<UINT>{1, 4, 8}));
    EXPECT_TRUE(DestroyMenu(menu));
}

TEST(MenuTest, TellsWhatIsNotThere) {
    const HMENU menu = makeMenu();
    EXPECT_FALSE(DeleteMenu(menu, 2, MF_BYCOMMAND));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_MENU_ITEM_NOT_FOUND});
    EXPECT_TRUE(DestroyMenu(menu));
    EXPECT_FALSE(DestroyMenu(menu));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_MENU_HANDLE});
}

TEST(MenuTest, GoesOnWhereSomethingIsNotThere) {
    const HMENU menu = makeMenu();
    EXPECT_TRUE(InsertMenuW(menu, 7, MF_BYCOMMAND, 2, W("text")));
    EXPECT_EQ(GetMenuItemID(menu, 3), 2U);
    EXPECT_EQ(GetMenuItemID(menu, 4), 0xFFFFFFFF);
    EXPECT_TRUE(DestroyMenu(menu));
    EXPECT_FALSE(AppendMenuW(menu, MF_STRING, 1, W("text")));
    EXPECT_EQ(GetMenuItemCount(menu), -1);
}

}  // namespace
