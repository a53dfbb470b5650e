// The session bus's part of the desktop: icon, menu and balloons, over one connection that may come and go.
#pragma once

#include <poll.h>

#include <chrono>
#include <memory>
#include <optional>

#include "linux/windows/presenter.h"

namespace win32 {

class Tray {
public:
    Tray();
    Tray(const Tray&) = delete;
    Tray& operator=(const Tray&) = delete;
    ~Tray();

    // Whether there is a bus; connects to one if need be.
    bool isThere();

    // False if the bus has said that nobody shows icons.
    bool hasPanel() const { return watcher_ != Watcher::absent; }

    // What to poll for: an empty one (-1) without a bus.
    pollfd waitsFor() const;
    // Whether the bus is about to report whether there is a panel: never longer than a moment after a connection was
    // made.
    bool isSettling() const;
    // Does what is due; `hasEvents` if the poll said so.
    void pump(bool hasEvents);

    void showIcon(const ShownIcon& icon);
    void removeIcon();
    std::optional<POINT> lastClick() const;
    void showBalloon(const std::string& title, const std::string& text);
    void offerMenu(std::vector<ShownItem> items);
    bool showMenu(std::vector<ShownItem> items, std::function<void(UINT)> choose);

private:
    friend struct TrayCalls;
    using Clock = std::chrono::steady_clock;
    struct Session;
    enum class Watcher { unknown, absent, present };

    void connect();
    void lose();
    void watcherIs(Watcher state);

    std::unique_ptr<Session> session_;
    std::string application_;
    std::vector<ShownItem> menu_;
    Watcher watcher_ = Watcher::unknown;
    bool isWanted_ = false;
    bool wasMissed_ = false;  // the taskbar's coming is news to the program
    Clock::time_point nextAttempt_{};
    Clock::time_point nextTimeouts_{};
};

}  // namespace win32
