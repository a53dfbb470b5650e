#include "linux/desktop/dbus_balloon.h"

#include <string_view>
#include <utility>

#include "linux/windows/notify_icon.h"

namespace win32 {

namespace {

constexpr const char* service = "org.freedesktop.Notifications";
constexpr const char* path = "/org/freedesktop/Notifications";
constexpr std::size_t waitingAtMost = 8;

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            default:
                result += c;
        }
    }
    return result;
}

}  // namespace

// The bus's answers and signals, as sd-bus delivers them.
struct BusBalloonCalls {
    static BusBalloon& balloon(void* data) { return *static_cast<BusBalloon*>(data); }

    // A service that doesn't say what it can is taken for a simple one that has buttons.
    static int capabilities(sd_bus_message* reply, void* data, sd_bus_error* /*error*/) {
        bool hasActions = sd_bus_message_is_method_error(reply, nullptr) > 0;
        bool hasMarkup = false;
        if (sd_bus_message_enter_container(reply, 'a', "s") > 0) {
            for (const char* name = nullptr; sd_bus_message_read(reply, "s", &name) > 0;) {
                hasActions = hasActions || std::string_view(name) == "actions";
                hasMarkup = hasMarkup || std::string_view(name) == "body-markup";
            }
        }
        balloon(data).sendNotification(hasActions, hasMarkup);
        return 1;
    }

    static int notified(sd_bus_message* reply, void* data, sd_bus_error* /*error*/) {
        std::uint32_t number = 0;
        if (sd_bus_message_is_method_error(reply, nullptr) == 0) {
            sd_bus_message_read(reply, "u", &number);
        }
        balloon(data).finished(number);
        return 1;
    }

    static int action(sd_bus_message* signal, void* data, sd_bus_error* /*error*/) {
        std::uint32_t number = 0;
        const char* key = "";
        if (sd_bus_message_read(signal, "us", &number, &key) > 0 && std::string_view(key) == "default") {
            balloon(data).clicked(number);
        }
        return 0;
    }

    static int closing(sd_bus_message* signal, void* data, sd_bus_error* /*error*/) {
        std::uint32_t number = 0;
        if (sd_bus_message_read(signal, "u", &number) > 0) {
            balloon(data).closed(number);
        }
        return 0;
    }
};

BusBalloon::BusBalloon(sd_bus* bus) : bus_(bus) {
    const auto listen = [&](const char* signal, sd_bus_message_handler_t handler) {
        return makeSlot([&](sd_bus_slot** slot) {
            return sd_bus_match_signal_async(bus, slot, service, path, service, signal, handler, nullptr, this);
        });
    };
    actions_ = listen("ActionInvoked", BusBalloonCalls::action);
    closings_ = listen("NotificationClosed", BusBalloonCalls::closing);
}

void BusBalloon::show(const std::string& application, const std::string& title, const std::string& text) {
    if (text.empty()) {
        if (shown_ != 0) {
            sd_bus_call_method_async(bus_, nullptr, service, path, service, "CloseNotification", nullptr, nullptr, "u",
                                     std::exchange(shown_, 0));
        }
        return;
    }
    if (waiting_.size() >= waitingAtMost) {
        waiting_.erase(waiting_.begin() + 1);
    }
    waiting_.push_back({application, title, text});
    if (!call_) {
        sendNext();
    }
}

void BusBalloon::sendNext() {
    call_ = makeSlot([&](sd_bus_slot** slot) {
        return sd_bus_call_method_async(bus_, slot, service, path, service, "GetCapabilities",
                                        BusBalloonCalls::capabilities, this, "");
    });
}

void BusBalloon::sendNotification(bool hasActions, bool hasMarkup) {
    const Balloon& balloon = waiting_.front();
    sd_bus_message* made = nullptr;
    call_.reset();
    if (sd_bus_message_new_method_call(bus_, &made, service, path, service, "Notify") < 0) {
        return;
    }
    const BusMessage call(made);
    const std::string body = hasMarkup ? escaped(balloon.text) : balloon.text;
    sd_bus_message_append(made, "susss", balloon.application.c_str(), shown_, "dialog-information",
                          balloon.title.c_str(), body.c_str());
    if (hasActions) {
        sd_bus_message_append(made, "as", 2, "default", balloon.title.c_str());
    } else {
        sd_bus_message_append(made, "as", 0);
    }
    sd_bus_message_append(made, "a{sv}i", 0, -1);
    call_ = makeSlot(
        [&](sd_bus_slot** slot) { return sd_bus_call_async(bus_, slot, made, BusBalloonCalls::notified, this, 0); });
}

void BusBalloon::finished(std::uint32_t shown) {
    shown_ = shown;
    waiting_.pop_front();
    call_.reset();
    if (!waiting_.empty()) {
        sendNext();
    }
}

void BusBalloon::clicked(std::uint32_t number) {
    if (number == shown_ && number != 0) {
        shown_ = 0;
        postIconEvent(NIN_BALLOONUSERCLICK, {});
    }
}

void BusBalloon::closed(std::uint32_t number) {
    if (number == shown_) {
        shown_ = 0;
    }
}

}  // namespace win32
