#include "linux/desktop/display.h"

#include <xcb/shape.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "linux/windows/window_model.h"

namespace win32 {

namespace {

constexpr auto attemptsEvery = std::chrono::seconds(1);
constexpr DWORD opaqueAlpha = 255;

struct Run {
    int begin;
    int end;
    bool operator==(const Run&) const = default;
};

// The stretches of a row that are at least as opaque as asked.
std::vector<Run> runsOf(cairo_surface_t* picture, int y, int width, DWORD alpha) {
    std::vector<Run> runs;
    for (int x = 0; x < width; ++x) {
        if (pixelOf(picture, x, y) >> 24U < alpha) {
            continue;
        }
        if (runs.empty() || runs.back().end != x) {
            runs.push_back({x, x});
        }
        runs.back().end = x + 1;
    }
    return runs;
}

// The picture's shape as rectangles, row by row; rows that look alike make one.
std::vector<xcb_rectangle_t> rectanglesOf(cairo_surface_t* picture, DWORD alpha) {
    std::vector<xcb_rectangle_t> rectangles;
    const int width = cairo_image_surface_get_width(picture);
    const int height = cairo_image_surface_get_height(picture);
    for (int top = 0, bottom = 0; top < height; top = bottom) {
        const auto runs = runsOf(picture, top, width, alpha);
        for (bottom = top + 1; bottom < height && runsOf(picture, bottom, width, alpha) == runs;) {
            ++bottom;
        }
        for (const Run& run : runs) {
            rectangles.push_back({static_cast<std::int16_t>(run.begin), static_cast<std::int16_t>(top),
                                  static_cast<std::uint16_t>(run.end - run.begin),
                                  static_cast<std::uint16_t>(bottom - top)});
        }
    }
    return rectangles;
}

bool hasExtension(xcb_connection_t* connection, xcb_extension_t& extension) {
    const auto* const data = xcb_get_extension_data(connection, &extension);
    return data != nullptr && data->present != 0;
}

}  // namespace

pollfd Display::waitsFor() const { return {connection_ ? xcb_get_file_descriptor(connection_.get()) : -1, POLLIN, 0}; }

bool Display::connect() {
    if (connection_ && isAlive()) {
        return true;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < nextAttempt_) {
        return false;
    }
    nextAttempt_ = now + attemptsEvery;
    int number = 0;
    decltype(connection_) made(xcb_connect(nullptr, &number));
    if (xcb_connection_has_error(made.get()) != 0) {
        return false;
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(made.get()));
    for (int i = 0; i < number && screens.rem > 1; ++i) {
        xcb_screen_next(&screens);
    }
    connection_ = std::move(made);
    screen_ = screens.data;
    atoms_ = x11Atoms(connection_.get(), number);
    chooseVisual();
    selectPresses();
    nextAttempt_ = {};
    return isAlive();
}

void Display::chooseVisual() {
    visual_ = screen_->root_visual;
    depth_ = screen_->root_depth;
    for (auto depth = xcb_screen_allowed_depths_iterator(screen_); depth.rem > 0; xcb_depth_next(&depth)) {
        auto visual = xcb_depth_visuals_iterator(depth.data);
        if (depth.data->depth == 32 && visual.rem > 0) {
            visual_ = visual.data->visual_id;
            depth_ = 32;
        }
    }
    colormap_ = xcb_generate_id(connection_.get());
    xcb_create_colormap(connection_.get(), XCB_COLORMAP_ALLOC_NONE, colormap_, screen_->root, visual_);
}

// A press of a button anywhere takes a popup away, also where no window manager moves the focus for it.
void Display::selectPresses() {
    inputOpcode_ = 0;
    if (!hasExtension(connection_.get(), xcb_input_id)) {
        return;
    }
    const X11Answer<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        connection_.get(), xcb_input_xi_query_version(connection_.get(), 2, 1), nullptr));
    if (version && version->major_version >= 2) {
        inputOpcode_ = xcb_get_extension_data(connection_.get(), &xcb_input_id)->major_opcode;
    }
}

bool Display::isAlive() {
    if (!connection_ || xcb_connection_has_error(connection_.get()) == 0) {
        return connection_ != nullptr;
    }
    for (auto& [window, shown] : std::exchange(windows_, {})) {
        deactivate(window, shown);
    }
    connection_.reset();
    return false;
}

Display::Shown& Display::makeWindow(HWND window, const ShownWindow& shown) {
    Shown& made = windows_[window];
    if (made.id != XCB_NONE) {
        return made;
    }
    made.id = xcb_generate_id(connection_.get());
    made.context = xcb_generate_id(connection_.get());
    xcb_create_window_value_list_t values{};
    values.override_redirect = 1;
    values.event_mask = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_FOCUS_CHANGE;
    values.colormap = colormap_;
    xcb_create_window_aux(
        connection_.get(), depth_, made.id, screen_->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, visual_,
        XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
        &values);
    xcb_create_gc(connection_.get(), made.context, made.id, 0, nullptr);
    const auto setText = [&](xcb_atom_t property, xcb_atom_t type) {
        xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, made.id, property, type, 8,
                            static_cast<std::uint32_t>(shown.title.size()), shown.title.data());
    };
    setText(atoms_.windowName, atoms_.utf8);
    setText(XCB_ATOM_WM_NAME, XCB_ATOM_STRING);
    xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, made.id, atoms_.windowType, XCB_ATOM_ATOM, 32, 1,
                        &atoms_.popup);
    return made;
}

void Display::showWindow(HWND window, const ShownWindow& shown) {
    if (!connect()) {
        return;
    }
    Shown& made = makeWindow(window, shown);
    made.picture.reset(cairo_surface_reference(shown.picture), SurfaceEnd());
    const RECT& bounds = shown.bounds;
    const xcb_configure_window_value_list_t values = {
        bounds.left,
        bounds.top,
        static_cast<std::uint32_t>(std::max(1, bounds.right - bounds.left)),
        static_cast<std::uint32_t>(std::max(1, bounds.bottom - bounds.top)),
        0,
        XCB_NONE,
        XCB_STACK_MODE_ABOVE};
    xcb_configure_window_aux(connection_.get(), made.id,
                             XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                                 XCB_CONFIG_WINDOW_HEIGHT | XCB_CONFIG_WINDOW_STACK_MODE,
                             &values);
    shape(made);
    if (!std::exchange(made.isMapped, true)) {
        xcb_map_window(connection_.get(), made.id);
    }
    draw(made);
    xcb_flush(connection_.get());
    mayHaveEvents_ = true;
}

// Where there is no compositor, half-transparent pixels would be dark: they are cut off.
void Display::shape(const Shown& shown) const {
    if (!hasExtension(connection_.get(), xcb_shape_id)) {
        return;
    }
    const X11Answer<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
        connection_.get(), xcb_get_selection_owner(connection_.get(), atoms_.compositor), nullptr));
    const bool isComposed = owner && owner->owner != XCB_NONE && depth_ == 32;
    const auto rectangles = rectanglesOf(shown.picture.get(), isComposed ? 1 : (opaqueAlpha + 1) / 2);
    for (const xcb_shape_kind_t kind : {XCB_SHAPE_SK_BOUNDING, XCB_SHAPE_SK_INPUT}) {
        xcb_shape_rectangles(connection_.get(), XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_YX_SORTED, shown.id, 0, 0,
                             static_cast<std::uint32_t>(rectangles.size()), rectangles.data());
    }
}

void Display::draw(const Shown& shown) const {
    cairo_surface_t* const picture = shown.picture.get();
    const int stride = cairo_image_surface_get_stride(picture);
    const int width = cairo_image_surface_get_width(picture);
    const int height = cairo_image_surface_get_height(picture);
    constexpr int bytesAtOnce = 128 * 1024;
    const int rows = std::max(1, bytesAtOnce / stride);
    for (int top = 0; top < height && depth_ >= 24; top += rows) {
        const int count = std::min(rows, height - top);
        xcb_put_image(connection_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, shown.id, shown.context,
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(count), 0,
                      static_cast<std::int16_t>(top), 0, depth_, static_cast<std::uint32_t>(stride * count),
                      cairo_image_surface_get_data(picture) + static_cast<std::ptrdiff_t>(top) * stride);
    }
}

void Display::hideWindow(HWND window) {
    const auto found = windows_.find(window);
    if (found == windows_.end() || !isAlive()) {
        return;
    }
    Shown& shown = found->second;
    shown.picture.reset();
    shown.isMapped = false;
    if (std::exchange(shown.hasFocus, false)) {
        xcb_set_input_focus(connection_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, shown.focusBefore, XCB_CURRENT_TIME);
    }
    xcb_unmap_window(connection_.get(), shown.id);
    xcb_flush(connection_.get());
    mayHaveEvents_ = true;
}

void Display::forgetWindow(HWND window) {
    hideWindow(window);
    const auto found = windows_.find(window);
    if (found == windows_.end()) {
        return;
    }
    xcb_free_gc(connection_.get(), found->second.context);
    xcb_destroy_window(connection_.get(), found->second.id);
    xcb_flush(connection_.get());
    windows_.erase(found);
}

std::string Display::systemName(HWND window) const {
    const auto found = windows_.find(window);
    if (found == windows_.end() || !found->second.isMapped) {
        return {};
    }
    std::array<char, 16> name{};
    std::snprintf(name.data(), name.size(), "x11:%x", found->second.id);
    return name.data();
}

bool Display::activate(HWND window) {
    const auto found = windows_.find(window);
    if (found == windows_.end() || !isAlive() || !found->second.isMapped) {
        return false;
    }
    Shown& shown = found->second;
    if (!shown.hasFocus) {
        const X11Answer<xcb_get_input_focus_reply_t> before(
            xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
        shown.focusBefore = before ? before->focus : xcb_window_t{XCB_INPUT_FOCUS_POINTER_ROOT};
    }
    xcb_set_input_focus(connection_.get(), XCB_INPUT_FOCUS_POINTER_ROOT, shown.id, XCB_CURRENT_TIME);
    if (inputOpcode_ != 0) {
        const struct {
            xcb_input_event_mask_t head = {XCB_INPUT_DEVICE_ALL_MASTER, 1};
            std::uint32_t events = XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;
        } presses;
        xcb_input_xi_select_events(connection_.get(), screen_->root, 1, &presses.head);
    }
    xcb_flush(connection_.get());
    shown.hasFocus = true;
    mayHaveEvents_ = true;
    return isAlive();
}

void Display::pump(bool hasEvents) {
    if (!connection_ || !(hasEvents || std::exchange(mayHaveEvents_, false))) {
        return;
    }
    while (const X11Answer<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
        take(*event);
    }
    if (isAlive()) {
        xcb_flush(connection_.get());
    }
}

Display::Shown* Display::find(xcb_window_t id, HWND& window) {
    for (auto& [handle, shown] : windows_) {
        if (shown.id == id) {
            window = handle;
            return &shown;
        }
    }
    return nullptr;
}

void Display::take(const xcb_generic_event_t& event) {
    HWND window = nullptr;
    const int kind = event.response_type & 0x7F;
    if (kind == XCB_EXPOSE) {
        const auto& expose = reinterpret_cast<const xcb_expose_event_t&>(event);
        const Shown* const shown = find(expose.window, window);
        if (shown != nullptr && shown->picture && expose.count == 0) {
            draw(*shown);
        }
    } else if (kind == XCB_FOCUS_OUT) {
        const auto& focus = reinterpret_cast<const xcb_focus_out_event_t&>(event);
        Shown* const shown = find(focus.event, window);
        const bool isForGrab = focus.mode == XCB_NOTIFY_MODE_GRAB || focus.mode == XCB_NOTIFY_MODE_UNGRAB;
        if (shown != nullptr && !isForGrab && focus.detail != XCB_NOTIFY_DETAIL_INFERIOR) {
            deactivate(window, *shown);
        }
    } else if (kind == XCB_GE_GENERIC) {
        const auto& press = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        for (auto& [handle, shown] : windows_) {
            if (press.extension == inputOpcode_ && shown.hasFocus && isOutside(shown)) {
                deactivate(handle, shown);
            }
        }
    }
}

bool Display::isOutside(const Shown& shown) const {
    const X11Answer<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(connection_.get(), xcb_query_pointer(connection_.get(), shown.id), nullptr));
    if (!pointer || !shown.picture) {
        return false;
    }
    return pointer->win_x < 0 || pointer->win_y < 0 ||
           pointer->win_x >= cairo_image_surface_get_width(shown.picture.get()) ||
           pointer->win_y >= cairo_image_surface_get_height(shown.picture.get());
}

void Display::deactivate(HWND window, Shown& shown) {
    if (!std::exchange(shown.hasFocus, false)) {
        return;
    }
    {
        const std::lock_guard lock(model().mutex);
        if (model().active == window) {
            model().active = nullptr;
        }
    }
    if (connection_ && inputOpcode_ != 0) {
        const struct {
            xcb_input_event_mask_t head = {XCB_INPUT_DEVICE_ALL_MASTER, 1};
            std::uint32_t events = 0;
        } none;
        xcb_input_xi_select_events(connection_.get(), screen_->root, 1, &none.head);
    }
    PostMessageW(window, WM_ACTIVATE, WA_INACTIVE, 0);
}

}  // namespace win32
