#include "device/enumeration.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "base/log.h"
#include "device/scanner.h"
#include "temp_session.h"
#include "win32/com.h"
#include "win32/script.h"

TEST(ParseVidPid, FindsBothInAnyOrder) {
    const auto check = [](const WCHAR* text, bool valid, std::uint32_t vendor, std::uint32_t product) {
        const auto ids = device::parseVidPid(text);
        return ids.valid == valid && ids.vendor == vendor && ids.product == product;
    };
    EXPECT_TRUE(check(W("\\\\?\\usb#vid_18d1&pid_4ee1#serial#{guid}"), true, 0x18D1, 0x4EE1));
    EXPECT_TRUE(check(W("pid_12zz-vid_ 1f"), true, 0, 0) || check(W("pid_12zz-vid_ 1fx"), true, 0x1F, 0x12));
    EXPECT_TRUE(check(W("vid_0x1fpid_0001"), true, 0x1F, 1));
    EXPECT_TRUE(check(W("vid_18d1"), false, 0, 0));
    EXPECT_TRUE(check(W("vid_18d1&pid_4ee"), false, 0, 0));
    EXPECT_TRUE(check(W("vid_18d1&pid_zzzz"), false, 0, 0));
    EXPECT_TRUE(check(W("vid_\u0661\u0662\u0663\u0664&pid_4ee1"), false, 0, 0));
    EXPECT_TRUE(check(W("pid"), false, 0, 0));
    EXPECT_TRUE(check(W("pid_"), false, 0, 0));
}

class EnumerationTest : public testing::Test {
protected:
    EnumerationTest() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~EnumerationTest() override { win32::script::reset(); }

    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const auto& entry :
             boost::filesystem::directory_iterator(session_.path() / "home/Documents/Tavrin/Zelmo Dockset/logs")) {
            std::ifstream file(entry.path().string());
            for (std::string line; std::getline(file, line);) {
                result.push_back(std::regex_replace(line, std::regex(R"(^\d+ms )"), ""));
            }
        }
        return result;
    }

    tests::TempSession session_;
    std::shared_ptr<base::Log> log_ = base::createLog();
};

TEST_F(EnumerationTest, LogsALastingFailureOfTheManagerOnce) {
    const std::string failure = "! Failed to CoCreateInstance CLSID_PortableDeviceManager, hr = 0x80040154";
    const auto failTwice = [] {
        for (int i = 0; i < 2; ++i) {
            win32::script::failNext("CoCreateInstance", 0x80040154U);
            EXPECT_TRUE(device::enumerateDevices({}).empty());
        }
    };
    failTwice();
    EXPECT_EQ(lines(), std::vector<std::string>{failure});
    device::enumerateDevices({});
    failTwice();
    EXPECT_EQ(lines(), (std::vector<std::string>{failure, failure}));
}

TEST_F(EnumerationTest, LogsAFailureToCountAtEachLook) {
    for (int i = 0; i < 2; ++i) {
        win32::script::failNext("IPortableDeviceManager::GetDevices", 0x80004005U);
        EXPECT_TRUE(device::enumerateDevices({}).empty());
    }
    const std::string line = "! Failed to get number of devices on the system, hr = 0x80004005";
    EXPECT_EQ(lines(), (std::vector<std::string>{line, line}));
}

TEST_F(EnumerationTest, ScannerEndsWhereComCantBeEntered) {
    win32::script::failNext("CoInitializeEx", 0x80010106U);
    device::ScannerContext context;
    device::scannerMain(context);
    EXPECT_EQ(lines(), std::vector<std::string>{"CoInitializeEx failed hr = 0x80010106"});
}
