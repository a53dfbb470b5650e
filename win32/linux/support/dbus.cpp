#include "linux/support/dbus.h"

#include <cerrno>
#include <chrono>

namespace win32 {

namespace {

using Clock = std::chrono::steady_clock;

// Brings the connection a step further; gives a negative error number of errno if it broke.
int advance(sd_bus* bus, Clock::time_point deadline) {
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) {
        return -ETIMEDOUT;
    }
    const int progress = sd_bus_process(bus, nullptr);
    const int result = progress == 0 ? sd_bus_wait(bus, static_cast<std::uint64_t>(left)) : progress;
    return result == -EINTR ? 0 : result;
}

}  // namespace

int openBus(int (*open)(sd_bus** bus), Bus& bus) {
    constexpr std::chrono::seconds patience(5);
    const auto deadline = Clock::now() + patience;
    sd_bus* opened = nullptr;
    int result = open(&opened);
    bus.reset(opened);
    while (result >= 0 && (result = sd_bus_is_ready(opened)) == 0) {
        result = advance(opened, deadline);
    }
    return result;
}

}  // namespace win32
