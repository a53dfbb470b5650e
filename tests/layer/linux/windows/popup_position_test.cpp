#include <gtest/gtest.h>

#include "win32/script.h"
#include "win32/window.h"

namespace {

constexpr SIZE popup = {348, 287};
constexpr UINT besideIcon = TPM_WORKAREA | TPM_VERTICAL | TPM_VCENTERALIGN | TPM_CENTERALIGN;

bool covers(const RECT& a, const RECT& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

// The icon's rectangle as the popup must not cover it.
RECT around(const POINT& icon) { return {icon.x - 20, icon.y - 20, icon.x + 20, icon.y + 20}; }

// The upper left corner of a popup of the size 100 by 50, unless another is given.
POINT place(const POINT& anchor, UINT flags, RECT* exclude = nullptr, const SIZE& size = {100, 50}) {
    RECT result{};
    EXPECT_TRUE(CalculatePopupWindowPosition(&anchor, &size, flags, exclude, &result));
    EXPECT_EQ(result.right - result.left, size.cx);
    EXPECT_EQ(result.bottom - result.top, size.cy);
    return {result.left, result.top};
}

void expectAt(const POINT& actual, const POINT& expected) {
    EXPECT_EQ(actual.x, expected.x);
    EXPECT_EQ(actual.y, expected.y);
}

// The primary monitor with a panel of 40 pixels below, one to the left of it and one above, both with negative
// coordinates and a panel of 30 pixels at their upper edge.
class PopupPositionTest : public testing::Test {
protected:
    void SetUp() override {
        win32::script::pretendDesktop({{{0, 0, 1920, 1080}, {0, 0, 1920, 1040}},
                                       {{-1280, 0, 0, 1024}, {-1280, 30, 0, 1024}},
                                       {{0, -768, 1024, 0}, {0, -738, 1024, 0}}});
    }
    void TearDown() override { win32::script::reset(); }
};

TEST_F(PopupPositionTest, AlignsToTheAnchorByEachFlag) {
    const POINT anchor = {500, 400};
    expectAt(place(anchor, TPM_LEFTALIGN | TPM_TOPALIGN), {500, 400});
    expectAt(place(anchor, TPM_CENTERALIGN | TPM_TOPALIGN), {450, 400});
    expectAt(place(anchor, TPM_RIGHTALIGN | TPM_TOPALIGN), {400, 400});
    expectAt(place(anchor, TPM_LEFTALIGN | TPM_VCENTERALIGN), {500, 375});
    expectAt(place(anchor, TPM_LEFTALIGN | TPM_BOTTOMALIGN), {500, 350});
    expectAt(place(anchor, besideIcon), {450, 375});
}

TEST_F(PopupPositionTest, StaysInsideOfTheMonitorOrItsWorkArea) {
    expectAt(place({1919, 1079}, TPM_LEFTALIGN | TPM_TOPALIGN), {1820, 1030});
    expectAt(place({1919, 1079}, TPM_WORKAREA), {1820, 990});
    expectAt(place({0, 0}, TPM_RIGHTALIGN | TPM_BOTTOMALIGN), {0, 0});
    expectAt(place({-640, 5}, besideIcon), {-690, 30});       // on the left monitor, at its panel
    expectAt(place({10, -700}, besideIcon), {0, -725});       // on the one above
    expectAt(place({-5000, 500}, besideIcon), {-1280, 475});  // off all of them: on the nearest
    expectAt(place({3000, 2000}, TPM_WORKAREA, nullptr, {5000, 5000}), {0, 0});
}

TEST_F(PopupPositionTest, OpensBesideAnIconWithoutCoveringIt) {
    const POINT icons[] = {{1800, 1060}, {1800, 1030}, {10, 1060},   {960, 540},  {5, 5},
                           {-20, 15},    {-1270, 15},  {-640, 1010}, {500, -750}, {1020, -5}};
    for (const POINT& icon : icons) {
        RECT exclude = around(icon);
        RECT result{};
        ASSERT_TRUE(CalculatePopupWindowPosition(&icon, &popup, besideIcon, &exclude, &result));
        EXPECT_FALSE(covers(result, exclude)) << icon.x << ", " << icon.y;
        EXPECT_EQ(result.left < 0, icon.x < 0) << "on another monitor";
        EXPECT_EQ(result.top < 0, icon.y < 0) << "on another monitor";
    }
}

TEST_F(PopupPositionTest, MovesTheWayTheFlagPrefersAndTheNearerOne) {
    RECT low = around({960, 700});
    expectAt(place({960, 705}, TPM_VERTICAL | TPM_CENTERALIGN | TPM_VCENTERALIGN, &low), {910, 720});
    expectAt(place({960, 695}, TPM_VERTICAL | TPM_CENTERALIGN | TPM_VCENTERALIGN, &low), {910, 630});
    expectAt(place({965, 700}, TPM_HORIZONTAL | TPM_CENTERALIGN | TPM_VCENTERALIGN, &low), {980, 675});
    // A column as high as the monitor leaves only the sides.
    RECT column = {900, 0, 1000, 1080};
    expectAt(place({940, 500}, TPM_VERTICAL | TPM_CENTERALIGN | TPM_VCENTERALIGN, &column), {800, 475});
    RECT all = {0, 0, 1920, 1080};
    expectAt(place({940, 500}, TPM_VERTICAL, &all), {940, 500});
}

TEST_F(PopupPositionTest, RefusesWhatMakesNoSense) {
    const POINT anchor = {1, 1};
    const SIZE negative = {-1, 5};
    RECT result{};
    EXPECT_FALSE(CalculatePopupWindowPosition(&anchor, &negative, 0, nullptr, &result));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    EXPECT_FALSE(CalculatePopupWindowPosition(&anchor, &popup, TPM_CENTERALIGN | TPM_RIGHTALIGN, nullptr, &result));
    EXPECT_FALSE(CalculatePopupWindowPosition(&anchor, &popup, TPM_VCENTERALIGN | TPM_BOTTOMALIGN, nullptr, &result));
}

}  // namespace
