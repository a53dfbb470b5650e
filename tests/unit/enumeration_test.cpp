#include "device/enumeration.h"

#include <gtest/gtest.h>

#include "base/log.h"
#include "captured_log.h"
#include "device/scanner.h"
#include "temp_session.h"
#include "win32/com.h"

namespace {

using tests::Lines;

TEST(ParseVidPid, FindsBothInAnyOrder) {
    struct Row {
        const WCHAR* text;
        bool valid;
        std::uint32_t vendor;
        std::uint32_t product;
    };
    for (const auto& [text, valid, vendor, product] : {
             Row{W("\\\\?\\usb#vid_18d1&pid_4ee1#serial#{guid}"), true, 0x18D1, 0x4EE1},
             Row{W("pid_12zz-vid_ 1fx"), true, 0x1F, 0x12},
             Row{W("vid_0x1fpid_0001"), true, 0x1F, 1},
             Row{W("vid_18d1"), false, 0, 0},
             Row{W("vid_18d1&pid_4ee"), false, 0, 0},
             Row{W("vid_18d1&pid_zzzz"), false, 0, 0},
             Row{W("vid_\u0661\u0662\u0663\u0664&pid_4ee1"), false, 0, 0},
             Row{W("pid_"), false, 0, 0},
         }) {
        const auto ids = device::parseVidPid(text);
        EXPECT_TRUE(ids.valid == valid && ids.vendor == vendor && ids.product == product) << base::narrow(text);
    }
}

TEST(Enumeration, LogsALastingFailureOfTheManagerOnceAndOneToCountAtEachLook) {
    const tests::TempSession session;
    const auto log = base::createLog();
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const auto failTwice = [](const char* operation, DWORD code) {
        for (int i = 0; i < 2; ++i) {
            win32::script::failNext(operation, code);
            EXPECT_TRUE(device::enumerateDevices({}).empty());
        }
    };
    Lines expected{"! Failed to CoCreateInstance CLSID_PortableDeviceManager, hr = 0x80040154"};
    failTwice("CoCreateInstance", 0x80040154U);
    EXPECT_EQ(session.agentLog(), expected);
    device::enumerateDevices({});
    failTwice("CoCreateInstance", 0x80040154U);
    expected.push_back(expected[0]);
    EXPECT_EQ(session.agentLog(), expected);
    failTwice("IPortableDeviceManager::GetDevices", 0x80004005U);
    expected.insert(expected.end(), 2, "! Failed to get number of devices on the system, hr = 0x80004005");
    EXPECT_EQ(session.agentLog(), expected);
    win32::script::failNext("CoInitializeEx", 0x80010106U);
    device::ScannerContext context;
    device::scannerMain(context);
    EXPECT_EQ(session.agentLog().back(), "CoInitializeEx failed hr = 0x80010106");
}

}  // namespace
