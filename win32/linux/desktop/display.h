// The X server's part of the desktop: monitors, and the top-level windows that are visible.
//
// The connection is made when something is first to be shown. It may end at any time: the windows are then without
// activation, and the next one shown makes a new connection.
#pragma once

#include <poll.h>
#include <xcb/xcb.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "linux/desktop/x11_atoms.h"
#include "linux/windows/presenter.h"

namespace win32 {

class Display {
public:
    Display() = default;
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;
    ~Display() = default;

    pollfd waitsFor() const;
    void pump(bool hasEvents);

    std::vector<Monitor> monitors();
    void showWindow(HWND window, const ShownWindow& shown);
    void hideWindow(HWND window);
    void forgetWindow(HWND window);
    bool activate(HWND window);
    std::string systemName(HWND window) const;

private:
    struct ConnectionEnd {
        void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
    };
    struct Shown {
        xcb_window_t id = XCB_NONE;
        xcb_gcontext_t context = XCB_NONE;
        bool isMapped = false;
        bool hasFocus = false;
        xcb_window_t focusBefore = XCB_NONE;
        std::shared_ptr<cairo_surface_t> picture;
    };

    bool connect();
    void chooseVisual();
    void selectPresses();
    // False if the server has gone; all of it is forgotten then.
    bool isAlive();
    Shown& makeWindow(HWND window, const ShownWindow& shown);
    void shape(const Shown& shown) const;
    void draw(const Shown& shown) const;
    void take(const xcb_generic_event_t& event);
    bool isOutside(const Shown& shown) const;
    void deactivate(HWND window, Shown& shown);
    Shown* find(xcb_window_t id, HWND& window);

    std::unique_ptr<xcb_connection_t, ConnectionEnd> connection_;
    const xcb_screen_t* screen_ = nullptr;
    X11Atoms atoms_;
    xcb_visualid_t visual_ = 0;
    std::uint8_t depth_ = 0;
    xcb_colormap_t colormap_ = XCB_NONE;
    std::uint8_t inputOpcode_ = 0;
    bool mayHaveEvents_ = false;
    std::map<HWND, Shown> windows_;
    std::chrono::steady_clock::time_point nextAttempt_{};
};

}  // namespace win32
