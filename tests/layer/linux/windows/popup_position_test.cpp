#include <gtest/gtest.h>

#include "win32/script.h"
#include "win32/window.h"

namespace {

constexpr SIZE popup = {348, 287};
constexpr UINT besideIcon = TPM_WORKAREA | TPM_VERTICAL | TPM_VCENTERALIGN | TPM_CENTERALIGN;
constexpr UINT centered = TPM_CENTERALIGN | TPM_VCENTERALIGN;

bool covers(const RECT& a, const RECT& b) {
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
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

TEST_F(PopupPositionTest, FollowsItsFlagsAndStaysOnItsMonitor) {
    RECT low = {940, 680, 980, 720};
    RECT column = {900, 0, 1000, 1080};  // as high as the monitor: leaves only the sides
    RECT all = {0, 0, 1920, 1080};
    const struct {
        POINT anchor;
        UINT flags;
        POINT expected;  // the upper left corner
        SIZE size = {100, 50};
        RECT* exclude = nullptr;
    } cases[] = {
        {{500, 400}, TPM_LEFTALIGN | TPM_TOPALIGN, {500, 400}},
        {{500, 400}, TPM_CENTERALIGN | TPM_TOPALIGN, {450, 400}},
        {{500, 400}, TPM_RIGHTALIGN | TPM_TOPALIGN, {400, 400}},
        {{500, 400}, TPM_LEFTALIGN | TPM_VCENTERALIGN, {500, 375}},
        {{500, 400}, TPM_LEFTALIGN | TPM_BOTTOMALIGN, {500, 350}},
        {{500, 400}, besideIcon, {450, 375}},
        {{1919, 1079}, TPM_LEFTALIGN | TPM_TOPALIGN, {1820, 1030}},
        {{1919, 1079}, TPM_WORKAREA, {1820, 990}},
        {{0, 0}, TPM_RIGHTALIGN | TPM_BOTTOMALIGN, {0, 0}},
        {{-640, 5}, besideIcon, {-690, 30}},       // on the left monitor, at its panel
        {{10, -700}, besideIcon, {0, -725}},       // on the one above
        {{-5000, 500}, besideIcon, {-1280, 475}},  // off all of them: on the nearest
        {{3000, 2000}, TPM_WORKAREA, {0, 0}, {5000, 5000}},
        // The way that the flag prefers, and the nearer one.
        {{960, 705}, TPM_VERTICAL | centered, {910, 720}, {100, 50}, &low},
        {{960, 695}, TPM_VERTICAL | centered, {910, 630}, {100, 50}, &low},
        {{965, 700}, TPM_HORIZONTAL | centered, {980, 675}, {100, 50}, &low},
        {{940, 500}, TPM_VERTICAL | centered, {800, 475}, {100, 50}, &column},
        {{940, 500}, TPM_VERTICAL, {940, 500}, {100, 50}, &all},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.anchor.x << ", " << each.anchor.y << " by " << each.flags);
        RECT result{};
        EXPECT_TRUE(CalculatePopupWindowPosition(&each.anchor, &each.size, each.flags, each.exclude, &result));
        EXPECT_EQ(result.left, each.expected.x);
        EXPECT_EQ(result.top, each.expected.y);
        EXPECT_EQ(result.right - result.left, each.size.cx);
        EXPECT_EQ(result.bottom - result.top, each.size.cy);
    }
}

TEST_F(PopupPositionTest, OpensBesideAnIconWithoutCoveringIt) {
    const POINT icons[] = {{1800, 1060}, {1800, 1030}, {10, 1060},   {960, 540},  {5, 5},
                           {-20, 15},    {-1270, 15},  {-640, 1010}, {500, -750}, {1020, -5}};
    for (const POINT& icon : icons) {
        RECT exclude = {icon.x - 20, icon.y - 20, icon.x + 20, icon.y + 20};
        RECT result{};
        ASSERT_TRUE(CalculatePopupWindowPosition(&icon, &popup, besideIcon, &exclude, &result));
        EXPECT_FALSE(covers(result, exclude)) << icon.x << ", " << icon.y;
        EXPECT_EQ(result.left < 0, icon.x < 0) << "on another monitor";
        EXPECT_EQ(result.top < 0, icon.y < 0) << "on another monitor";
    }
}

TEST_F(PopupPositionTest, RefusesWhatMakesNoSense) {
    const POINT anchor = {1, 1};
    const std::pair<SIZE, UINT> senseless[] = {
        {{-1, 5}, 0}, {popup, TPM_CENTERALIGN | TPM_RIGHTALIGN}, {popup, TPM_VCENTERALIGN | TPM_BOTTOMALIGN}};
    for (const auto& [size, flags] : senseless) {
        RECT result{};
        EXPECT_FALSE(CalculatePopupWindowPosition(&anchor, &size, flags, nullptr, &result)) << flags;
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

}  // namespace
