#include <gtest/gtest.h>

#include "base/number.h"
#include "base/paths.h"
#include "base/text.h"

TEST(Text, ConvertsBothWaysWithoutLoss) {
    const std::string narrow = "Zelmo \xC3\xA9 \xE2\x82\xAC \xF0\x9F\x93\xB1";
    const WideString wide = W("Zelmo \u00E9 \u20AC \U0001F4F1");
    EXPECT_EQ(base::widen(narrow), wide);
    EXPECT_EQ(base::narrow(wide), narrow);
    EXPECT_EQ(base::widen("a\xFF\xC3(\xED\xA0\x80z"), W("a\uFFFD\uFFFD(\uFFFD\uFFFD\uFFFDz"));
    EXPECT_EQ(base::narrow(WideString{WCHAR{0xD83D}}), "\xED\xA0\xBD");
    const WideString strayBytes = W("/home/\u20AC\xDCE9\xDC80/\xDCED\xDCB3\xDCFF\U0001F4F1");
    EXPECT_EQ(base::widePath(base::pathFromWide(strayBytes)), strayBytes) << "a path is any bytes";
}

TEST(Numbers, AreReadAlikeOnBothSystems) {
    EXPECT_EQ(base::parseHexadecimal(" 0x1A2b "), 0x1A2BU);
    EXPECT_EQ(base::parseHexadecimal("-5"), 0xFFFFFFFBU);
    EXPECT_EQ(base::parseHexadecimal("100000000"), 0xFFFFFFFFU);
    EXPECT_EQ(base::parseHexadecimal("ffffffffffffffffff"), 0xFFFFFFFFU);
    EXPECT_EQ(base::parseHexadecimal("xyz"), std::nullopt);
    EXPECT_EQ(base::parseDecimal("+12x"), 12);
    EXPECT_EQ(base::parseDecimal("2147483648"), std::nullopt);
}
