// What any program of the session can call at the icon and its menu on the bus.
#include <algorithm>
#include <array>
#include <set>
#include <vector>

#include "linux/desktop/dbus_item.h"
#include "linux/desktop/dbus_menu.h"
#include "linux/windows/notify_icon.h"
#include "peer_bus.h"
#include "temp_session.h"
#include "win32/notify_icon.h"
#include "win32/window.h"

namespace {

struct Method {
    const char* path;
    const char* interface;
    const char* name;
    const char* types;
};

constexpr const char* menuInterface = "com.canonical.dbusmenu";
constexpr const char* itemInterface = "org.kde.StatusNotifierItem";
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr std::array<Method, 15> methods{{
    {"/MenuBar", menuInterface, "GetLayout", "iias"},
    {"/MenuBar", menuInterface, "GetGroupProperties", "aias"},
    {"/MenuBar", menuInterface, "GetProperty", "is"},
    {"/MenuBar", menuInterface, "Event", "isvu"},
    {"/MenuBar", menuInterface, "EventGroup", "a(isvu)"},
    {"/MenuBar", menuInterface, "AboutToShow", "i"},
    {"/MenuBar", menuInterface, "AboutToShowGroup", "ai"},
    {"/MenuBar", properties, "GetAll", "s"},
    {"/MenuBar", properties, "Set", "ssv"},
    {"/StatusNotifierItem", itemInterface, "Activate", "ii"},
    {"/StatusNotifierItem", itemInterface, "ContextMenu", "ii"},
    {"/StatusNotifierItem", itemInterface, "Scroll", "is"},
    {"/StatusNotifierItem", itemInterface, "ProvideXdgActivationToken", "s"},
    {"/StatusNotifierItem", properties, "GetAll", "s"},
    {"/MenuBar", menuInterface, "Event", "sv"},
}};

int answers = 0;

int onAnswer(sd_bus_message* /*reply*/, void* /*data*/, sd_bus_error* /*error*/) {
    ++answers;
    return 0;
}

void call(const fuzz::PeerBus& bus, fuzz::Parts& parts) {
    const Method& method = methods[parts.byte() % methods.size()];
    sd_bus_message* made = nullptr;
    sd_bus_message_new_method_call(bus.client.get(), &made, nullptr, method.path, method.interface, method.name);
    const win32::BusMessage message(made);
    fuzz::Arguments(made, parts).append(method.types);
    // A text that no message can hold leaves the message unfinished, and unsent.
    if (sd_bus_call_async(bus.client.get(), nullptr, made, onAnswer, nullptr, 0) < 0) {
        ++answers;
    }
}

// An icon in the model alone, whose window takes what is done with it.
struct Icon {
    Icon() {
        win32::script::pretendDesktop({{{0, 0, 100, 100}, {0, 0, 100, 100}}});
        WNDCLASSEXW details{};
        details.cbSize = sizeof details;
        details.lpfnWndProc = DefWindowProcW;
        details.lpszClassName = W("fuzz");
        RegisterClassExW(&details);
        NOTIFYICONDATAW data{};
        data.cbSize = sizeof data;
        data.hWnd = CreateWindowExW(0, W("fuzz"), W(""), 0, 0, 0, 1, 1, nullptr, nullptr, nullptr, nullptr);
        data.uFlags = NIF_MESSAGE;
        data.uCallbackMessage = WM_USER + 1;
        fuzz::require(Shell_NotifyIconW(NIM_ADD, &data) != FALSE, "an icon");
    }
};

void takeMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        DispatchMessageW(&message);
    }
}

std::vector<win32::ShownItem> itemsOf(fuzz::Parts& parts) {
    std::vector<win32::ShownItem> items;
    for (int count = parts.byte() % 4; count > 0; --count) {
        const UINT id = parts.byte();
        const bool isSeparator = parts.byte() % 4 == 0;
        items.push_back({id, isSeparator, parts.text()});
    }
    return items;
}

}  // namespace

FUZZ_TARGET(menu_calls) {
    static const tests::TempSession session;
    static const Icon icon;
    static const fuzz::PeerBus bus;
    win32::BusMenu menu(bus.server.get());
    win32::BusItem item(bus.server.get());
    fuzz::Parts parts(input);
    const auto items = itemsOf(parts);
    const auto choose = [&items](UINT id) {
        fuzz::require(std::ranges::any_of(items, [id](const auto& each) { return each.id == id && !each.isSeparator; }),
                      "what is chosen is in the menu");
    };
    item.show({parts.text(), true, nullptr});
    menu.show(items, choose);
    answers = 0;
    int calls = 0;
    for (; calls < 32 && !parts.empty(); ++calls) {
        call(bus, parts);
        bus.pump();
        fuzz::require(answers >= calls - 16, "few calls wait for the menu");
    }
    takeMessages();
    menu.pump();
    bus.pump();
    fuzz::require(answers == calls, "each call is answered once");
}
