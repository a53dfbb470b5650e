#include "win32/resource.h"

#include <gtest/gtest.h>

#include "layer/small_picture.h"
#include "win32/embedded.h"
#include "win32/kernel.h"

namespace {

const win32::EmbeddedResource raw(win32::ResourceKind::rawData, 902, smallPicture, std::end(smallPicture));
const win32::EmbeddedResource image(win32::ResourceKind::groupIcon, 901, smallPicture, std::end(smallPicture));
const win32::EmbeddedResource broken(win32::ResourceKind::groupIcon, 903, smallPicture, smallPicture + 20);

TEST(ResourceTest, BytesAreFoundByKindAndNumber) {
    const HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(902), RT_RCDATA);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(SizeofResource(nullptr, found), sizeof(smallPicture));
    EXPECT_EQ(LockResource(LoadResource(nullptr, found)), smallPicture);
    EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(901), RT_RCDATA), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_RESOURCE_NAME_NOT_FOUND});
}

TEST(ResourceTest, IconsAreLoadedFromTheirGroup) {
    const auto icon = static_cast<HICON>(LoadImageW(nullptr, MAKEINTRESOURCEW(901), IMAGE_ICON, 16, 16, 0));
    ASSERT_NE(icon, nullptr);
    EXPECT_TRUE(DestroyIcon(icon));
    EXPECT_FALSE(DestroyIcon(icon));
    EXPECT_EQ(LoadImageW(nullptr, MAKEINTRESOURCEW(903), IMAGE_ICON, 16, 16, 0), nullptr);
}

}  // namespace
