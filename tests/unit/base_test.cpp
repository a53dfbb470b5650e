#include <gtest/gtest.h>

#include <memory>

#include "base/global_slot.h"
#include "base/number.h"
#include "base/paths.h"
#include "base/text.h"

TEST(Text, ConvertsBothWaysWithoutLoss) {
    const std::string narrow = "Zelmo \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB1";
    const WideString wide = W("Zelmo \u00E9 \u20AC \U0001F4F1");
    EXPECT_EQ(base::widen(narrow), wide);
    EXPECT_EQ(base::narrow(wide), narrow);
    EXPECT_EQ(base::widen("a\xFF\xC3(\xED\xA0\x80z"), W("a\uFFFD\uFFFD(\uFFFD\uFFFD\uFFFDz"));
    const WideString loneSurrogate{WCHAR{0xD83D}};
    EXPECT_EQ(base::narrow(loneSurrogate), "\xED\xA0\xBD");
    EXPECT_EQ(base::toLower(W("USB#VID_18D1")), W("usb#vid_18d1"));
}

TEST(Paths, ComeThroughBothWaysUnchanged) {
    EXPECT_EQ(base::pathFromWide(base::widePath("/home/\xC3\xA9")), boost::filesystem::path("/home/\xC3\xA9"));
    const WideString strayBytes = W("/home/\u20AC\xDCE9\xDC80/\xDCED\xDCB3\xDCFF\U0001F4F1");
    EXPECT_EQ(base::widePath(base::pathFromWide(strayBytes)), strayBytes);
}

TEST(Numbers, AreReadAlikeOnBothSystems) {
    EXPECT_EQ(base::parseHexadecimal(" 0x1A2b "), 0x1A2BU);
    EXPECT_EQ(base::parseHexadecimal("-5"), 0xFFFFFFFBU);
    EXPECT_EQ(base::parseHexadecimal("100000000"), 0xFFFFFFFFU);
    EXPECT_EQ(base::parseHexadecimal("ffffffffffffffffff"), 0xFFFFFFFFU);
    EXPECT_EQ(base::parseHexadecimal("xyz"), std::nullopt);
    EXPECT_EQ(base::parseDecimal("+12x"), 12);
    EXPECT_EQ(base::parseDecimal("2147483648"), std::nullopt);
    EXPECT_EQ(base::hexadecimal(0x80004005U), "80004005");
}

TEST(GlobalSlot, GoesDeadWithItsOwner) {
    base::GlobalSlot<int> slot;
    auto owner = std::make_shared<int>(1);
    slot.publish(owner);
    EXPECT_EQ(slot.get(), owner);
    owner.reset();
    EXPECT_EQ(slot.get(), nullptr);
}
