#include "device/device_list.h"

#include <gtest/gtest.h>

#include "captured_log.h"
#include "data/xml_value.h"
#include "device/device_list_update.h"
#include "temp_directory.h"

namespace {

using tests::bytesOf;
using tests::Lines;

data::Value tree(const std::string& text) { return data::parseXml(text.data(), text.size()); }

// The devices as "vendor:product:type", "+" for those that count for a transfer.
Lines parse(const std::string& devices) {
    Lines lines;
    for (const auto& entry :
         device::supportedEntries(tree("<device-set><devices>" + devices + "</devices></device-set>"))) {
        lines.push_back(std::to_string(entry.vendorID) + ":" + std::to_string(entry.productID) + ":" + entry.typeID +
                        (entry.brztsupport ? "+" : ""));
    }
    return lines;
}

std::string deviceOf(const std::string& variants) { return "<device><variants>" + variants + "</variants></device>"; }
std::string variant(const std::string& vendor, const std::string& product, const std::string& more = "") {
    return "<variant><identification><vendorID>" + vendor + "</vendorID><productID>" + product +
           "</productID><typeID>T</typeID></identification>" + more + "</variant>";
}
std::string list(const std::string& revision, const std::string& more = "") {
    return "<device-set><Revision-version>" + revision + "</Revision-version>" + more + "</device-set>";
}

TEST(DeviceList, TakesSingleAndRepeatedElementsAlike) {
    EXPECT_EQ(parse(deviceOf(variant("0010", "0x1A2B", "<brztsupport>YES</brztsupport>"))), Lines{"16:6699:T+"});
    EXPECT_EQ(parse(deviceOf(variant("1", "2") + variant("1", "2")) + "<device/>" + deviceOf(variant("3", "4"))),
              (Lines{"1:2:T", "1:2:T", "3:4:T"}));
    EXPECT_EQ(parse(""), Lines());
    EXPECT_TRUE(device::supportedEntries(tree("<device-set>")).empty());

    testing::internal::CaptureStdout();
    EXPECT_EQ(parse(deviceOf("<variant/>" + variant("zz", "1", "<brztsupport>2</brztsupport>"))),
              (Lines{"0:0:", "0:1:T"}));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "VendorID is missing\nVendorID is missing\n");

    const auto unsupported = [](const std::string& text) { return device::unsupportedEntries(tree(text)); };
    EXPECT_EQ(
        unsupported("<device-set><devices><device>A</device><device> b<x>c</x>\n</device></devices></device-set>"),
        (Lines{"A", " b\n"}));
    EXPECT_EQ(unsupported("<device-set><devices><device>A</device></devices></device-set>"), Lines{"A"});
    EXPECT_EQ(unsupported("garbage"), Lines{""});
}

TEST(DeviceList, ReadsTheRevision) {
    for (const auto& [text, revision] :
         {std::pair{" 42abc", 42}, {"abc", 0}, {"-7", -7}, {"99999999999999999999", 0}}) {
        EXPECT_EQ(device::deviceListRevision(tree(list(text))), revision) << text;
    }
    EXPECT_EQ(device::deviceListRevision(data::nullValue), 0);
}

TEST(DeviceList, MatchesTheVendorInFullAndTheProductInItsLowTwelveBits) {
    const std::vector<device::SupportedDevice> devices = {{0x0FCE, 0x1A2B, "", false}};
    for (const std::uint32_t product : {0x1A2BU, 0x0A2BU, 0xFA2BU}) {
        EXPECT_TRUE(device::deviceMatchesFilter(devices, 0x0FCE, product));
    }
    EXPECT_FALSE(device::deviceMatchesFilter(devices, 0x0FCE, 0x1A2C));
    EXPECT_FALSE(device::deviceMatchesFilter(devices, 0x1FCE, 0x1A2B));
    EXPECT_FALSE(device::deviceMatchesFilter({}, 0, 0));
}

TEST(DeviceListUpdate, TheHigherRevisionWinsAndTheServersOfTwoAlike) {
    const std::string newer = "Local devices XML is more recent than remote: ";
    struct Row {
        std::string server;
        std::string local;
        std::string chosen;  // with the revisions
        std::string line;
    };
    for (const auto& [server, local, chosen, line] : {
             Row{"", "", "none/", ""},
             Row{"", list("1"), "local/", "Cannot find remote devices XML, using local"},
             Row{list("1"), "", "server/", ""},
             Row{list("2", "<x/>"), list("2"), "server2/2", "Remote devices XML revision: 2"},
             Row{list("3x"), list("20"), "local20/3x", newer + "20 - 3"},
             Row{"<broken", list("1"), "local1/", newer + "1 - 0"},
             Row{"<broken", "broken", "server/", "Remote devices XML revision: 0"},
         }) {
        SCOPED_TRACE(server + " " + local);
        tests::CapturedLog log;
        device::DeviceListStatus status;
        const auto choice = device::newerDeviceList({bytesOf(server), {}, true}, bytesOf(local), status);
        EXPECT_TRUE(choice.fresh);
        const std::string bytes = tests::textOf(choice.bytes);
        EXPECT_EQ((bytes.empty()    ? "none"
                   : bytes == local ? "local"
                                    : "server") +
                      status.localRevision + "/" + status.serverRevision,
                  chosen);
        EXPECT_EQ(log.take(), line.empty() ? Lines() : Lines{"DeviceFilterHandler " + line});
    }
}

TEST(DeviceListUpdate, TheEnvironmentIsAPieceOfTheAddress) {
    const std::string host = device::downloadBaseUrl();
    EXPECT_TRUE(host.starts_with("https://") && host.find("tavrin") != std::string::npos);
    device::setDeviceListServerEnvironment(0, 3);
    EXPECT_EQ(device::deviceListUrl(device::DeviceListKind::Supported),
              host + "/stage/zd/data/zd-supported-devices.xml");
    device::setDeviceListServerEnvironment(0, 4);
    device::setDownloadBaseUrl("https://other.test");
    EXPECT_EQ(device::deviceListUrl(device::DeviceListKind::Unsupported),
              "https://other.test/production/zd/data/zd-unsupported-devices.xml");
    device::setDownloadBaseUrl(host);
}

}  // namespace
