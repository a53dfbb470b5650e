// Balloons as notifications: org.freedesktop.Notifications.
#pragma once

#include <cstdint>
#include <deque>
#include <string>

#include "linux/support/dbus.h"

namespace win32 {

class BusBalloon {
public:
    // `bus` must outlive this.
    explicit BusBalloon(sd_bus* bus);

    // Replaces the balloon that is up; an empty text takes that one away. While the service is slow, the last few wait.
    void show(const std::string& application, const std::string& title, const std::string& text);

private:
    friend struct BusBalloonCalls;
    struct Balloon {
        std::string application;
        std::string title;
        std::string text;
    };

    // A balloon goes out in two steps: what the service can, then the notification.
    void sendNext();
    void sendNotification(bool hasActions, bool hasMarkup);
    void finished(std::uint32_t shown);
    void clicked(std::uint32_t number);
    void closed(std::uint32_t number);

    sd_bus* bus_;
    std::deque<Balloon> waiting_;  // the first one is on its way if `call_` is
    std::uint32_t shown_ = 0;      // the service's number for the balloon that is up
    BusSlot call_;
    BusSlot actions_;
    BusSlot closings_;
};

}  // namespace win32
