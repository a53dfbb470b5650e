// Icon, menu and balloons against a session bus of the test's own.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "layer/linux/private_bus.h"
#include "layer/linux/test_program.h"
#include "layer/test_window.h"
#include "temp_session.h"
#include "win32/menu.h"
#include "win32/notify_icon.h"

namespace {

constexpr const char* watcher = "org.kde.StatusNotifierWatcher";
constexpr const char* notifications = "org.freedesktop.Notifications";

std::vector<UINT> events;  // of the icon; the commands as they are
HMENU menu;
bool hasDownload = true;  // whether the program puts that entry in when it is asked for the menu

LRESULT CALLBACK procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_USER && HIWORD(lParam) == 101) {
        events.push_back(LOWORD(lParam));
        if (LOWORD(lParam) == WM_CONTEXTMENU) {
            EXPECT_TRUE(SetForegroundWindow(window));
            EXPECT_TRUE(!hasDownload || InsertMenuW(menu, 4, MF_BYCOMMAND, 2, W("Download")));
            EXPECT_TRUE(TrackPopupMenu(menu, TPM_RIGHTBUTTON, 0, 0, 0, window, nullptr));
        }
    } else if (message == WM_COMMAND) {
        events.push_back(LOWORD(wParam));
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

template <typename Condition>
bool pumpUntil(Condition condition) {
    return tests::waitUntil([&] {
        pump();
        return condition();
    });
}

class TrayTest : public testing::Test {
protected:
    void SetUp() override {
        icon.cbSize = sizeof(icon);
        icon.hWnd = create({W("ZelmoTestTray"), procedure});
        icon.uID = 101;
        icon.uFlags = NIF_MESSAGE | NIF_TIP | NIF_GUID | NIF_SHOWTIP;
        icon.uCallbackMessage = WM_USER;
        icon.guidItem.Data1 = 7;
        menu = CreatePopupMenu();
        AppendMenuW(menu, MF_STRING, 1, W("Launch"));
        AppendMenuW(menu, MF_SEPARATOR, 4, nullptr);
        AppendMenuW(menu, MF_STRING, 0, W("Close"));
        events.clear();
        bus = std::make_unique<tests::PrivateBus>(session.path().string() + "/runtime");
        desktop =
            std::make_unique<tests::FakeDesktop>(bus->address(), std::vector<std::string>{watcher, notifications});
        ASSERT_TRUE(Shell_NotifyIconW(NIM_ADD, &icon));
        ASSERT_TRUE(pumpUntil([this] { return !desktop->icons().empty(); }));
    }
    void TearDown() override {
        Shell_NotifyIconW(NIM_DELETE, &icon);
        DestroyWindow(icon.hWnd);
        DestroyMenu(menu);
        desktop.reset();
        bus.reset();
        // Until the loss of the bus is noticed, the next test would talk to this one's.
        EXPECT_TRUE(pumpUntil(
            [this] { return !Shell_NotifyIconW(NIM_MODIFY, &icon) && GetLastError() == DWORD{ERROR_TIMEOUT}; }));
    }

    void showBalloon(const WideString& text) {
        icon.uFlags = NIF_INFO | NIF_GUID | NIF_SHOWTIP;
        std::fill(std::begin(icon.szInfo), std::end(icon.szInfo), WCHAR{});
        text.copy(icon.szInfo, 255);
        WideString(W("Title")).copy(icon.szInfoTitle, 63);
        EXPECT_TRUE(Shell_NotifyIconW(NIM_MODIFY, &icon));
    }

    // Calls the icon's object as a panel does; the answer, or null with an error.
    template <typename... Arguments>
    sd_bus_message* call(const char* path, const char* interface, const char* method, const char* types,
                         Arguments... arguments) {
        sd_bus_message* answer = nullptr;
        const std::string name = desktop->icons().back();
        desktop->run(
            [&](sd_bus* connection) {
                sd_bus_error error = SD_BUS_ERROR_NULL;
                sd_bus_call_method(connection, name.c_str(), path, interface, method, &error, &answer, types,
                                   arguments...);
                EXPECT_FALSE(sd_bus_error_is_set(&error)) << error.message;
                sd_bus_error_free(&error);
            },
            [] { pump(); });
        return answer;
    }
    void click(int x, int y) {
        sd_bus_message_unref(call("/StatusNotifierItem", "org.kde.StatusNotifierItem", "Activate", "ii", x, y));
    }
    std::vector<std::string> labels() {
        sd_bus_message* const answer = call("/MenuBar", "com.canonical.dbusmenu", "GetGroupProperties", "aias", 0, 0);
        std::vector<std::string> texts;
        sd_bus_message_enter_container(answer, 'a', "(ia{sv})");
        int id = 0;
        const char* key = "";
        const char* value = "";
        while (sd_bus_message_enter_container(answer, 'r', "ia{sv}") > 0) {
            sd_bus_message_read(answer, "ia{sv}", &id, 1, &key, "s", &value);
            texts.emplace_back(value);
            sd_bus_message_exit_container(answer);
        }
        sd_bus_message_unref(answer);
        return texts;
    }

    tests::TempSession session;
    std::unique_ptr<tests::PrivateBus> bus;
    std::unique_ptr<tests::FakeDesktop> desktop;
    NOTIFYICONDATAW icon{};
};

TEST_F(TrayTest, ClicksBecomeEventsAndTellThePlace) {
    NOTIFYICONIDENTIFIER identifier{sizeof(identifier), nullptr, 0, icon.guidItem};
    RECT place{};
    EXPECT_EQ(Shell_NotifyIconGetRect(&identifier, &place), E_FAIL);
    click(-300, 20);
    click(-301, 21);
    click(5, 6);
    pump();
    EXPECT_EQ(events, (std::vector<UINT>{NIN_SELECT, WM_LBUTTONDBLCLK, NIN_SELECT}));
    ASSERT_EQ(Shell_NotifyIconGetRect(&identifier, &place), S_OK);
    EXPECT_EQ(place.left, 5);
    EXPECT_EQ(place.bottom, 6);
}

TEST_F(TrayTest, AboutToShowIsAnsweredWithTheMenuOfTheMoment) {
    EXPECT_EQ(labels(), (std::vector<std::string>{"Launch", "separator", "Close"}));
    // A panel that fetches the open menu anew for nothing may close it on the way.
    hasDownload = false;
    int hasChanged = -1;
    sd_bus_message* answer = call("/MenuBar", "com.canonical.dbusmenu", "AboutToShow", "i", 0);
    EXPECT_GT(sd_bus_message_read(answer, "b", &hasChanged), 0);
    EXPECT_EQ(hasChanged, 0);
    sd_bus_message_unref(answer);
    hasDownload = true;
    events.clear();
    answer = call("/MenuBar", "com.canonical.dbusmenu", "AboutToShowGroup", "ai", 1, 0);
    int id = -1;
    sd_bus_message_enter_container(answer, 'a', "i");
    EXPECT_GT(sd_bus_message_read(answer, "i", &id), 0);
    EXPECT_EQ(id, 0);
    sd_bus_message_unref(answer);
    EXPECT_EQ(labels(), (std::vector<std::string>{"Launch", "Download", "separator", "Close"}));
    EXPECT_EQ(events, (std::vector<UINT>{WM_CONTEXTMENU}));
    events.clear();
    for (const int item : {3, 5, 99}) {  // Download, the separator, nothing
        sd_bus_message_unref(call("/MenuBar", "com.canonical.dbusmenu", "Event", "isvu", item, "clicked", "i", 0, 0U));
    }
    pump();
    EXPECT_EQ(events, (std::vector<UINT>{2}));
}

TEST_F(TrayTest, BalloonsAreShownInTheirOrderAndTheLastOneTakesTheClick) {
    showBalloon(W("a < b & c"));
    showBalloon(W("second"));
    ASSERT_TRUE(pumpUntil([this] { return desktop->balloons().size() == 2; }));
    EXPECT_EQ(desktop->balloons(), (std::vector<std::string>{"Title|a &lt; b &amp; c|0", "Title|second|1"}));
    pumpUntil([this] { return labels().size() == 3; });  // behind the answer to the notification
    desktop->clickBalloon(1);
    desktop->clickBalloon(2);
    pumpUntil([] { return !events.empty(); });
    EXPECT_EQ(events, std::vector<UINT>{NIN_BALLOONUSERCLICK});
}

}  // namespace
