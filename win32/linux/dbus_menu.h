// The shortcut menu on the bus: com.canonical.dbusmenu at /MenuBar, drawn by the desktop's panel.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "linux/dbus.h"
#include "linux/presenter.h"

namespace win32 {

class BusMenu {
public:
    // `bus` must outlive this.
    explicit BusMenu(sd_bus* bus);

    // Publishes what the menu holds now and, to a panel that is about to show it, that it has changed.
    void show(std::vector<ShownItem> items, std::function<void(UINT)> choose);

    // Tells panels that wait for a menu, which the program has decided not to show, to go on with what they have.
    void pump();

private:
    friend struct BusMenuCalls;

    // Asks the program for the menu; `request` is answered when the program has heard of it.
    int askProgram(sd_bus_message* request);
    void answerWaiting(bool hasChanged);
    const ShownItem* find(int id) const;
    int itemEvent(int id, const std::string& event);

    sd_bus* bus_;
    std::vector<BusMessage> waiting_;
    std::vector<ShownItem> items_;
    std::function<void(UINT)> choose_;
    unsigned revision_ = 1;
    BusSlot object_;
};

}  // namespace win32
