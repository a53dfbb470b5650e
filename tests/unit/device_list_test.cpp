#include "device/device_list.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "data/xml_value.h"

namespace {

data::Value tree(const std::string& text) { return data::parseXml(text.data(), text.size()); }

std::vector<device::SupportedDevice> parse(const std::string& devices) {
    return device::supportedEntries(tree("<device-set><devices>" + devices + "</devices></device-set>"));
}

std::string variant(const std::string& vendor, const std::string& product, const std::string& more = "") {
    return "<variant><identification><vendorID>" + vendor + "</vendorID><productID>" + product +
           "</productID><typeID>T</typeID></identification>" + more + "</variant>";
}

std::string deviceOf(const std::string& variants) { return "<device><variants>" + variants + "</variants></device>"; }

std::int64_t revision(const std::string& text) {
    return device::deviceListRevision(
        tree("<device-set><Revision-version>" + text + "</Revision-version></device-set>"));
}

}  // namespace

TEST(DeviceList, TakesSingleAndRepeatedElementsAlike) {
    const auto one = parse(deviceOf(variant("0fce", "0x1A2B", "<brztsupport>YES</brztsupport>")));
    ASSERT_EQ(one.size(), 1U);
    EXPECT_EQ(one[0].vendorID, 0xFCEU);
    EXPECT_EQ(one[0].productID, 0x1A2BU);
    EXPECT_EQ(one[0].typeID, "T");
    EXPECT_TRUE(one[0].brztsupport);
    const auto many =
        parse(deviceOf(variant("1", "2") + variant("1", "2")) + "<device/>" + deviceOf(variant("3", "4")));
    ASSERT_EQ(many.size(), 3U);
    EXPECT_EQ(many[1].vendorID, 1U);
    EXPECT_EQ(many[2].productID, 4U);
    EXPECT_FALSE(many[2].brztsupport);
    EXPECT_TRUE(parse("").empty());
    EXPECT_TRUE(device::supportedEntries(tree("<device-set>")).empty());
}

TEST(DeviceList, KeepsAnEntryWithoutAVendorAndSaysSo) {
    testing::internal::CaptureStdout();
    const auto entries = parse(deviceOf("<variant/>" + variant("zz", "1", "<brztsupport>2</brztsupport>")));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "VendorID is missing\nVendorID is missing\n");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].typeID, "");
    EXPECT_FALSE(entries[1].brztsupport);
}

TEST(DeviceList, HoldsTheTextsOfTheUnsupported) {
    using Texts = std::vector<std::string>;
    const auto texts = [](const std::string& text) { return device::unsupportedEntries(tree(text)); };
    EXPECT_EQ(texts("<device-set><devices><device>A</device><device> b<x>c</x>\n</device></devices></device-set>"),
              (Texts{"A", " b\n"}));
    EXPECT_EQ(texts("<device-set><devices><device>A</device></devices></device-set>"), Texts{"A"});
    EXPECT_EQ(texts("garbage"), Texts{""});
}

TEST(DeviceList, ReadsTheRevision) {
    EXPECT_EQ(revision(" 42abc"), 42);
    EXPECT_EQ(revision("abc"), 0);
    EXPECT_EQ(revision("-7"), -7);
    EXPECT_EQ(revision("99999999999999999999"), 0);
    EXPECT_EQ(device::deviceListRevision(data::nullValue), 0);
    data::Value document(data::ValueType::Object);
    document.member("device-set") = data::Value(data::ValueType::Object);
    document.member("device-set").set("Revision-version", -3.9);
    EXPECT_EQ(device::deviceListRevision(document), -3);
    document.member("device-set").set("Revision-version", true);
    EXPECT_EQ(device::deviceListRevision(document), 1);
}

TEST(DeviceList, MatchesTheVendorInFullAndTheProductInItsLowTwelveBits) {
    const std::vector<device::SupportedDevice> list = {{0x0FCE, 0x1A2B, "", false}};
    EXPECT_TRUE(device::deviceMatchesFilter(list, 0x0FCE, 0x1A2B));
    EXPECT_TRUE(device::deviceMatchesFilter(list, 0x0FCE, 0x0A2B));
    EXPECT_TRUE(device::deviceMatchesFilter(list, 0x0FCE, 0xFA2B));
    EXPECT_FALSE(device::deviceMatchesFilter(list, 0x0FCE, 0x1A2C));
    EXPECT_FALSE(device::deviceMatchesFilter(list, 0x1FCE, 0x1A2B));
    EXPECT_FALSE(device::deviceMatchesFilter({}, 0, 0));
}

TEST(DeviceList, KnowsTruth) {
    EXPECT_TRUE(device::valueIsTrue(-1));
    EXPECT_TRUE(device::valueIsTrue(std::nan("")));
    EXPECT_TRUE(device::valueIsTrue("TruE"));
    EXPECT_TRUE(device::valueIsTrue("1"));
    EXPECT_TRUE(device::valueIsTrue(true));
    EXPECT_FALSE(device::valueIsTrue(0.0));
    EXPECT_FALSE(device::valueIsTrue(" yes"));
    EXPECT_FALSE(device::valueIsTrue(data::nullValue));
}
