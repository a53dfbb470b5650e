#include "linux/desktop/tray.h"

#include <utility>

#include "linux/desktop/dbus_balloon.h"
#include "linux/desktop/dbus_item.h"
#include "linux/desktop/dbus_menu.h"
#include "linux/support/dbus.h"
#include "linux/windows/notify_icon.h"

namespace win32 {

namespace {

constexpr const char* watcher = "org.kde.StatusNotifierWatcher";
constexpr auto attemptsEvery = std::chrono::seconds(1);
constexpr auto timeoutsEvery = std::chrono::seconds(1);
constexpr auto settlingTime = std::chrono::milliseconds(30);
constexpr int messagesAtOnce = 64;

}  // namespace

// All that lives as long as one connection.
struct Tray::Session {
    explicit Session(Bus connection)
        : bus(std::move(connection)), menu(bus.get()), item(bus.get()), balloon(bus.get()) {}

    Bus bus;
    BusMenu menu;
    BusItem item;
    BusBalloon balloon;
    BusSlot ownerChanges;
    BusSlot ownerQuery;
};

// The bus's answers and signals, as sd-bus delivers them.
struct TrayCalls {
    static int onOwner(sd_bus_message* answer, void* data, sd_bus_error* /*error*/) {
        auto& tray = *static_cast<Tray*>(data);
        if (tray.watcher_ == Tray::Watcher::unknown) {
            const bool isError = sd_bus_message_is_method_error(answer, nullptr) > 0;
            tray.watcherIs(isError ? Tray::Watcher::absent : Tray::Watcher::present);
        }
        return 1;
    }

    static int ownerChange(sd_bus_message* signal, void* data, sd_bus_error* /*error*/) {
        auto& tray = *static_cast<Tray*>(data);
        const char* name = "";
        const char* before = "";
        const char* after = "";
        if (sd_bus_message_read(signal, "sss", &name, &before, &after) > 0) {
            if (*before != 0) {
                tray.watcherIs(Tray::Watcher::absent);
            }
            if (*after != 0) {
                tray.watcherIs(Tray::Watcher::present);
            }
        }
        return 0;
    }
};

Tray::Tray() = default;
Tray::~Tray() = default;

bool Tray::isThere() {
    isWanted_ = true;
    if (!session_) {
        connect();
    }
    wasMissed_ = wasMissed_ || !session_;
    return session_ != nullptr;
}

pollfd Tray::waitsFor() const {
    if (!session_) {
        return {-1, 0, 0};
    }
    const int events = sd_bus_get_events(session_->bus.get());
    return {sd_bus_get_fd(session_->bus.get()), static_cast<short>(events < 0 ? POLLIN : events), 0};
}

bool Tray::isSettling() const {
    return session_ && watcher_ == Watcher::unknown && Clock::now() < nextAttempt_ - attemptsEvery + settlingTime;
}

void Tray::pump(bool hasEvents) {
    if (!isWanted_) {
        return;
    }
    const auto now = Clock::now();
    if (!session_) {
        if (now >= nextAttempt_) {
            connect();
        }
        return;
    }
    session_->menu.pump();
    if (!hasEvents && now < nextTimeouts_) {
        return;
    }
    nextTimeouts_ = now + timeoutsEvery;
    for (int i = 0; i < messagesAtOnce; ++i) {
        const int result = sd_bus_process(session_->bus.get(), nullptr);
        if (result < 0) {
            lose();
            return;
        }
        if (result == 0) {
            return;
        }
    }
    nextTimeouts_ = now;
}

void Tray::connect() {
    nextAttempt_ = Clock::now() + attemptsEvery;
    sd_bus* made = nullptr;
    if (sd_bus_open_user(&made) < 0) {
        return;
    }
    session_ = std::make_unique<Session>(Bus(made));
    session_->ownerChanges = makeSlot([&](sd_bus_slot** slot) {
        return sd_bus_add_match_async(made, slot,
                                      "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
                                      "interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                                      "arg0='org.kde.StatusNotifierWatcher'",
                                      TrayCalls::ownerChange, nullptr, this);
    });
    session_->ownerQuery = makeSlot([&](sd_bus_slot** slot) {
        return sd_bus_call_method_async(made, slot, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                        "org.freedesktop.DBus", "GetNameOwner", TrayCalls::onOwner, this, "s", watcher);
    });
    session_->menu.offer(menu_);
    nextTimeouts_ = {};
}

void Tray::lose() {
    session_.reset();
    watcher_ = Watcher::unknown;
    wasMissed_ = true;
    nextAttempt_ = Clock::now() + attemptsEvery;
}

void Tray::watcherIs(Watcher state) {
    watcher_ = state;
    if (state == Watcher::absent) {
        wasMissed_ = true;
    } else if (std::exchange(wasMissed_, false)) {
        announceTaskbar();
    } else if (session_->item.isShown()) {
        session_->item.registerWithWatcher();
    }
}

void Tray::showIcon(const ShownIcon& icon) {
    application_ = icon.tip;
    if (session_) {
        session_->item.show(icon);
        wasMissed_ = watcher_ == Watcher::absent;
        if (watcher_ == Watcher::present) {
            session_->item.registerWithWatcher();
        }
    }
}

void Tray::removeIcon() {
    if (session_) {
        session_->balloon.show({}, {}, {});
        session_->item.remove();
    }
}

std::optional<POINT> Tray::lastClick() const { return session_ ? session_->item.lastClick() : std::nullopt; }

void Tray::showBalloon(const std::string& title, const std::string& text) {
    if (session_) {
        session_->balloon.show(application_, title, text);
    }
}

void Tray::offerMenu(std::vector<ShownItem> items) {
    menu_ = std::move(items);
    if (session_) {
        session_->menu.offer(menu_);
    }
}

bool Tray::showMenu(std::vector<ShownItem> items, std::function<void(UINT)> choose) {
    if (!session_ || !session_->item.isShown()) {
        return false;
    }
    session_->menu.show(std::move(items), std::move(choose));
    return true;
}

}  // namespace win32
