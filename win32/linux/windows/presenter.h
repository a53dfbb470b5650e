// What shows a thread's windows, icon and menu to the user, and brings in what the user does with them.
//
// The model works without: each operation says what it does then. All calls are by the thread that owns the presenter,
// and never while the model is locked. Events come as posted messages.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "linux/drawing/icon.h"
#include "linux/drawing/surface.h"
#include "win32/window.h"

namespace win32 {

struct Monitor {
    RECT bounds;
    RECT workArea;
};

struct ShownIcon {
    std::string tip;
    bool showsTip = false;
    std::shared_ptr<const Icon> picture;
};

struct ShownItem {
    UINT id = 0;
    bool isSeparator = false;
    std::string text;  // with '&' before its access key

    bool operator==(const ShownItem&) const = default;
};

struct ShownWindow {
    RECT bounds;
    std::string title;
    cairo_surface_t* picture;
};

class Presenter {
public:
    Presenter() = default;
    Presenter(const Presenter&) = delete;
    Presenter& operator=(const Presenter&) = delete;
    virtual ~Presenter() = default;

    // Takes in what has happened. Called with each scan of the message queue: takes a few microseconds at most.
    virtual void pump() = 0;

    // Whether there is a desktop to show an icon, be it now or when its panel comes.
    virtual bool hasTray() = 0;
    // Whether a panel shows it now, or may: false only if it is known that there is none.
    virtual bool hasPanel() = 0;
    virtual void showIcon(const ShownIcon& icon) = 0;
    virtual void removeIcon() = 0;
    // Where the icon is, as far as is known.
    virtual std::optional<RECT> iconRectangle() = 0;
    // An empty text takes the balloon away.
    virtual void showBalloon(const std::string& title, const std::string& text) = 0;
    // The menu that the icon will show, as it now is.
    virtual void offerMenu(std::vector<ShownItem> items) = 0;
    // Shows it. `choose` gets the id of the item chosen, any time later. False if nobody can show it.
    virtual bool showMenu(std::vector<ShownItem> items, std::function<void(UINT)> choose) = 0;

    // The first one is the primary; none without a display.
    virtual std::vector<Monitor> monitors() = 0;
    virtual void showWindow(HWND window, const ShownWindow& shown) = 0;
    virtual void hideWindow(HWND window) = 0;
    virtual void forgetWindow(HWND window) = 0;
    // How other programs of the desktop name a window that is shown, "x11:1a"; else empty.
    virtual std::string systemName(HWND window) = 0;
    // False if the window can't have the activation.
    virtual bool activate(HWND window) = 0;
};

// The calling thread's.
Presenter& presenter();

}  // namespace win32
