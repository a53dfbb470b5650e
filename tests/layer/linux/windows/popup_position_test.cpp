#include <gtest/gtest.h>

#include "win32/script.h"
#include "win32/window.h"

namespace {

constexpr UINT besideIcon = TPM_WORKAREA | TPM_VERTICAL | TPM_VCENTERALIGN | TPM_CENTERALIGN;
constexpr UINT centered = TPM_CENTERALIGN | TPM_VCENTERALIGN;

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
    const struct {
        POINT anchor;
        UINT flags;
        POINT expected;  // the upper left corner
        SIZE size = {100, 50};
        RECT* exclude = nullptr;
    } cases[] = {
        {{500, 400}, besideIcon, {450, 375}},
        {{1919, 1079}, TPM_LEFTALIGN | TPM_TOPALIGN, {1820, 1030}},
        {{1919, 1079}, TPM_WORKAREA, {1820, 990}},
        {{-640, 5}, besideIcon, {-690, 30}},       // on the left monitor, at its panel
        {{10, -700}, besideIcon, {0, -725}},       // on the one above
        {{-5000, 500}, besideIcon, {-1280, 475}},  // off all of them: on the nearest
        // The way that the flag prefers, and the nearer one.
        {{960, 705}, TPM_VERTICAL | centered, {910, 720}, {100, 50}, &low},
        {{965, 700}, TPM_HORIZONTAL | centered, {980, 675}, {100, 50}, &low},
        {{940, 500}, TPM_VERTICAL | centered, {800, 475}, {100, 50}, &column},
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

}  // namespace
