// The monitors of the display, and what panels leave free of them.
#include <xcb/randr.h>

#include <algorithm>

#include "linux/desktop/display.h"

namespace win32 {

namespace {

// The cardinals of a property of the root window; empty if it isn't there.
std::vector<std::uint32_t> cardinals(xcb_connection_t* connection, xcb_window_t root, xcb_atom_t property) {
    constexpr std::uint32_t cardinalsAtMost = 1024;
    const X11Answer<xcb_get_property_reply_t> answer(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, property, XCB_ATOM_CARDINAL, 0, cardinalsAtMost), nullptr));
    if (!answer || answer->format != 32) {
        return {};
    }
    const auto* const first = static_cast<const std::uint32_t*>(xcb_get_property_value(answer.get()));
    return {first, first + xcb_get_property_value_length(answer.get()) / 4};
}

RECT intersection(const RECT& a, const RECT& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right), std::min(a.bottom, b.bottom)};
}

bool isEmpty(const RECT& rectangle) { return rectangle.left >= rectangle.right || rectangle.top >= rectangle.bottom; }

// The primary one first; empty if the server has no such extension.
std::vector<RECT> monitorRectangles(xcb_connection_t* connection, xcb_window_t root) {
    std::vector<RECT> rectangles;
    const auto* const extension = xcb_get_extension_data(connection, &xcb_randr_id);
    if (extension == nullptr || extension->present == 0) {
        return rectangles;
    }
    const X11Answer<xcb_randr_get_monitors_reply_t> answer(
        xcb_randr_get_monitors_reply(connection, xcb_randr_get_monitors(connection, root, 1), nullptr));
    if (!answer) {
        return rectangles;
    }
    for (auto each = xcb_randr_get_monitors_monitors_iterator(answer.get()); each.rem > 0;
         xcb_randr_monitor_info_next(&each)) {
        const auto& monitor = *each.data;
        const RECT bounds = {monitor.x, monitor.y, monitor.x + monitor.width, monitor.y + monitor.height};
        rectangles.insert(monitor.primary != 0 ? rectangles.begin() : rectangles.end(), bounds);
    }
    return rectangles;
}

}  // namespace

std::vector<Monitor> Display::monitors() {
    if (!connect()) {
        return {};
    }
    const RECT all = {0, 0, screen_->width_in_pixels, screen_->height_in_pixels};
    auto rectangles = monitorRectangles(connection_.get(), screen_->root);
    if (rectangles.empty()) {
        rectangles.push_back(all);
    }
    RECT free = all;
    const auto areas = cardinals(connection_.get(), screen_->root, atoms_.workArea);
    const auto desktop = cardinals(connection_.get(), screen_->root, atoms_.currentDesktop);
    const std::size_t index = desktop.empty() ? 0 : desktop.front() * std::size_t{4};
    if (areas.size() >= index + 4) {
        const auto left = static_cast<LONG>(areas[index]);
        const auto top = static_cast<LONG>(areas[index + 1]);
        free = {left, top, left + static_cast<LONG>(areas[index + 2]), top + static_cast<LONG>(areas[index + 3])};
    }
    std::vector<Monitor> monitors;
    for (const RECT& bounds : rectangles) {
        const RECT workArea = intersection(bounds, free);
        monitors.push_back({bounds, isEmpty(workArea) ? bounds : workArea});
    }
    return isAlive() ? monitors : std::vector<Monitor>();
}

}  // namespace win32
