// The shortcut menu on the bus: com.canonical.dbusmenu at /MenuBar, drawn by the desktop's panel.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "linux/support/dbus.h"
#include "linux/windows/presenter.h"

namespace win32 {

class BusMenu {
public:
    // `bus` must outlive this.
    explicit BusMenu(sd_bus* bus);

    // Publishes what the menu holds, for panels draw it before they read the reply to AboutToShow.
    void offer(std::vector<ShownItem> items);
    // Publishes it to the panel that is about to show it. Choices go to `choose`, without which they go to the icon.
    void show(std::vector<ShownItem> items, std::function<void(UINT)> choose);

    // Notifies panels that wait for a menu, which the program has decided not to show, to go on with what they have.
    void pump();

private:
    friend struct BusMenuCalls;

    // A panel's query whether the menu has changed, and the revision that the panel could know.
    struct Waiting {
        BusMessage request;
        unsigned revision;
    };

    // Requests the menu from the program; `request` is answered when the program has handled that.
    int requestMenu(sd_bus_message* request);
    void replyToWaiting();
    const ShownItem* find(int id) const;
    int itemEvent(int id, const std::string& event);

    sd_bus* bus_;
    std::vector<Waiting> waiting_;
    std::vector<ShownItem> items_;
    std::function<void(UINT)> choose_;
    unsigned revision_ = 1;
    BusSlot object_;
};

}  // namespace win32
