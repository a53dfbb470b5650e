// The icon on the bus: org.kde.StatusNotifierItem, shown by the desktop's panel.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "linux/support/dbus.h"
#include "linux/windows/presenter.h"

namespace win32 {

class BusItem {
public:
    // `bus` must outlive this.
    explicit BusItem(sd_bus* bus);

    void show(const ShownIcon& icon);
    void remove();

    // Announces the icon to the panel that is there.
    void registerWithWatcher();
    bool isShown() const { return object_ != nullptr; }

    // Where the last click was, of this or an earlier icon.
    const std::optional<POINT>& lastClick() const { return lastClick_; }

private:
    friend struct BusItemCalls;

    void click(const POINT& point);

    sd_bus* bus_;
    ShownIcon icon_;
    std::string name_;
    std::optional<POINT> lastClick_;
    std::optional<std::chrono::steady_clock::time_point> firstOfTwo_;
    BusSlot object_;
};

}  // namespace win32
