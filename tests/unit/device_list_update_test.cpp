#include "device/device_list_update.h"

#include <gtest/gtest.h>

#include "captured_log.h"
#include "device/device_filter_handler.h"
#include "net/http_handler.h"
#include "net/http_provider.h"
#include "temp_session.h"

namespace {

using device::DeviceListKind;
using tests::Lines;
using Bytes = std::vector<std::uint8_t>;

Bytes bytes(const std::string& text) { return {text.begin(), text.end()}; }

Bytes list(const std::string& revision, const std::string& device = "") {
    return bytes("<device-set><Revision-version>" + revision + "</Revision-version><devices>" + device +
                 "</devices></device-set>");
}

const Bytes supportedPhone = list("7",
                                  "<device><variants><variant><identification><vendorID>3a5f</vendorID><productID>1"
                                  "</productID></identification></variant></variants></device>");

// A download server by heart; the requests' own way has tests of its own.
struct Downloads final : base::GlobalHttpHandler {
    bool getUrlCached(const std::string& url, Bytes& data, bool* fresh, bool useCache, bool keepStale, bool noPinning,
                      const base::CancelWord* cancelFlag, std::string* detail) override {
        EXPECT_TRUE(useCache && keepStale && !noPinning && cancelFlag == nullptr);
        urls.push_back(url);
        *detail = "proxy:a:1";
        const auto found = files.find(url.substr(url.rfind('/') + 1));
        if (found == files.end()) {
            return false;
        }
        data = found->second;
        *fresh = isFresh;
        return true;
    }
    bool postUrl(const std::string&, const Bytes&, Bytes&, bool, const base::CancelWord*) override { return false; }
    std::int32_t httpPost(const std::string&, const base::HttpHeaders&, const Bytes&, base::HttpHeaders&, Bytes&, bool,
                          const base::CancelWord*) override {
        return -2;
    }
    std::int32_t httpPut(const std::string&, const base::HttpHeaders&, const Bytes&, base::HttpHeaders&, Bytes&, bool,
                         const base::CancelWord*) override {
        return -2;
    }
    std::int32_t httpGet(const std::string&, const base::HttpHeaders&, base::HttpHeaders&, Bytes&, bool,
                         const base::CancelWord*, std::string*) override {
        return -2;
    }
    std::int32_t httpDelete(const std::string&, const base::HttpHeaders&, base::HttpHeaders&, Bytes&, bool,
                            const base::CancelWord*) override {
        return -2;
    }
    std::shared_ptr<base::PlatformHttpProvider> httpProvider() override { return nullptr; }

    std::map<std::string, Bytes> files;
    bool isFresh = true;
    Lines urls;
};

}  // namespace

TEST(DeviceListUpdate, TheHigherRevisionWinsAndTheServersOfTwoAlike) {
    tests::CapturedLog log;
    const auto choice = [&](const Bytes& server, const Bytes& local) {
        device::DeviceListStatus status;
        const auto chosen = device::newerDeviceList({server, {}, true}, local, status);
        EXPECT_TRUE(chosen.fresh);
        const Lines lines = log.take();
        return (chosen.bytes.empty()    ? "none"
                : chosen.bytes == local ? "local "
                                        : "server ") +
               status.localRevision + "/" + status.serverRevision + (lines.empty() ? "" : " " + lines.back());
    };
    const std::string tag = " DeviceFilterHandler ";
    EXPECT_EQ(choice({}, {}), "none/");
    EXPECT_EQ(choice({}, list("1")), "local /" + tag + "Cannot find remote devices XML, using local");
    EXPECT_EQ(choice(list("1"), {}), "server /");
    EXPECT_EQ(choice(list("2", "<x/>"), list("2")), "server 2/2" + tag + "Remote devices XML revision: 2");
    EXPECT_EQ(choice(list("3x"), list("20")),
              "local 20/3x" + tag + "Local devices XML is more recent than remote: 20 - 3");
    EXPECT_EQ(choice(bytes("<broken"), list("1")),
              "local 1/" + tag + "Local devices XML is more recent than remote: 1 - 0");
    EXPECT_EQ(choice(list("-5"), bytes("")), "server /");
    EXPECT_EQ(choice(bytes("<broken"), bytes("broken")), "server /" + tag + "Remote devices XML revision: 0");
}

TEST(DeviceListUpdate, APassFetchesBothListsAndTellsWhetherBothAreFresh) {
    tests::CapturedLog log;
    const auto downloads = std::make_shared<Downloads>();
    base::globalHttpHandler().publish(downloads);
    device::DeviceFilterHandler handler;
    downloads->files["zd-supported-devices.xml"] = supportedPhone;
    EXPECT_FALSE(handler.updateLists());
    EXPECT_EQ(log.take(), (Lines{"DeviceFilterHandler Updating supported devices...",
                                 "DeviceFilterHandler Updating unsupported devices...",
                                 "DeviceFilterHandler Failed to download device list!"}));
    EXPECT_EQ(handler.supportedStatus().text, "Device list xml was successfully downloaded!");
    EXPECT_EQ(handler.unsupportedStatus().text, "Failed to download device list! proxy:a:1");
    ASSERT_EQ(handler.supportedDevices().size(), 1U);
    EXPECT_TRUE(device::deviceMatchesFilter(handler.supportedDevices(), 0x3A5F, 0xF001));

    downloads->files["zd-unsupported-devices.xml"] = list("1", "<device>A</device>");
    downloads->files["zd-supported-devices.xml"].clear();
    EXPECT_TRUE(handler.updateLists());
    EXPECT_EQ(handler.unsupportedDevices(), Lines{"A"});
    EXPECT_EQ(handler.supportedDevices().size(), 1U) << "no bytes leave the list as it was";

    downloads->isFresh = false;
    downloads->files["zd-supported-devices.xml"] = bytes("not a list");
    EXPECT_FALSE(handler.updateLists());
    EXPECT_TRUE(handler.supportedDevices().empty());
    base::globalHttpHandler().publish(nullptr);
    EXPECT_FALSE(handler.updateLists());
    EXPECT_EQ(handler.unsupportedStatus().text, "Failed to download device list!");
}

TEST(DeviceListUpdate, TheEnvironmentIsAPieceOfTheAddress) {
    const std::string host = device::downloadBaseUrl();
    EXPECT_TRUE(host.starts_with("https://") && host.find("tavrin") != std::string::npos);
    const char* const pieces[] = {"/production", "/production", "/sandbox", "/stage", "/production"};
    for (std::uint32_t number = 0; number < std::size(pieces); ++number) {
        device::setDeviceListServerEnvironment(0, number);
        EXPECT_EQ(device::deviceListUrl(DeviceListKind::Supported),
                  host + pieces[number] + "/zd/data/zd-supported-devices.xml");
    }
    device::setDeviceListServerEnvironment(0, 1);
    device::setDownloadBaseUrl("https://other.test");
    EXPECT_EQ(device::deviceListUrl(DeviceListKind::Unsupported),
              "https://other.test/production/zd/data/zd-unsupported-devices.xml");
    device::setDownloadBaseUrl(host);
}
