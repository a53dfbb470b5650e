// Owners of what sd-bus hands out. Everything of one connection is used by one thread.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

namespace win32 {

struct BusEnd {
    void operator()(sd_bus* bus) const {
        sd_bus_close(bus);
        sd_bus_unref(bus);
    }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, BusEnd>;
using BusSlot = std::unique_ptr<sd_bus_slot, BusEnd>;
using BusMessage = std::unique_ptr<sd_bus_message, BusEnd>;

// Opens a bus (sd_bus_open_user, sd_bus_open_system) and waits until it has let the connection in, for which it has
// five seconds: the library's own calls would wait for a bus that says nothing. Gives a negative error number of errno
// on failure.
int openBus(int (*open)(sd_bus** bus), Bus& bus);

// Calls `make` with the place for a slot; the slot of what was made.
template <typename Make>
BusSlot makeSlot(Make make) {
    sd_bus_slot* slot = nullptr;
    return make(&slot) < 0 ? nullptr : BusSlot(slot);
}

}  // namespace win32
