#include "win32/resource.h"

#include <gtest/gtest.h>

#include <cstring>

#include "win32/kernel.h"
#include "win32/window.h"

namespace {

// The agent's own are embedded: its icon as 101, its logo, a PNG file, as 102.
TEST(ResourceTest, BytesAreFoundByKindAndNumber) {
    const HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(102), RT_RCDATA);
    ASSERT_NE(found, nullptr);
    EXPECT_GT(SizeofResource(nullptr, found), 1000U);
    EXPECT_EQ(std::memcmp(LockResource(LoadResource(nullptr, found)), "\x89PNG", 4), 0);
    EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(101), RT_RCDATA), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_NAME_NOT_FOUND});
    EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(102), MAKEINTRESOURCEW(23)), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_TYPE_NOT_FOUND});
}

TEST(ResourceTest, IconsAreLoadedFromTheirGroup) {
    const HINSTANCE program = GetModuleHandleW(nullptr);
    const auto icon = static_cast<HICON>(LoadImageW(program, MAKEINTRESOURCEW(101), IMAGE_ICON, 16, 16, 0));
    ASSERT_NE(icon, nullptr);
    EXPECT_TRUE(DestroyIcon(icon));
    EXPECT_FALSE(DestroyIcon(icon));
    EXPECT_EQ(LoadImageW(program, MAKEINTRESOURCEW(103), IMAGE_ICON, 16, 16, 0), nullptr);
    EXPECT_NE(LoadIconW(nullptr, IDI_APPLICATION), nullptr);
    EXPECT_NE(LoadCursorW(nullptr, IDC_ARROW), nullptr);
}

}  // namespace
