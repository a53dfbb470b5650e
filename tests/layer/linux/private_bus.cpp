#include "layer/linux/private_bus.h"

#include <signal.h>

#include <array>
#include <utility>

namespace tests {

PrivateBus::PrivateBus(const std::string& directory) : address_("unix:path=" + directory + "/bus") {
    const std::string command =
        "exec dbus-daemon --session --nofork --print-pid --address='" + address_ + "' 2>/dev/null";
    output_ = popen(command.c_str(), "r");
    std::array<char, 16> number{};
    if (output_ != nullptr && fgets(number.data(), number.size(), output_) != nullptr) {  // tells it once it listens
        process_ = std::stoi(number.data());
    }
}

PrivateBus::~PrivateBus() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
    }
    if (output_ != nullptr) {
        pclose(output_);
    }
}

struct FakeDesktopCalls {
    static FakeDesktop& desktop(void* data) { return *static_cast<FakeDesktop*>(data); }

    static int registerIcon(sd_bus_message* call, void* data, sd_bus_error* /*error*/) {
        const char* name = "";
        sd_bus_message_read(call, "s", &name);
        const std::lock_guard lock(desktop(data).mutex_);
        desktop(data).icons_.emplace_back(name);
        return sd_bus_reply_method_return(call, "");
    }

    static int capabilities(sd_bus_message* call, void* /*data*/, sd_bus_error* /*error*/) {
        return sd_bus_reply_method_return(call, "as", 3, "actions", "body", "body-markup");
    }

    static int notify(sd_bus_message* call, void* data, sd_bus_error* /*error*/) {
        const char* texts[4] = {};
        unsigned replaced = 0;
        sd_bus_message_read(call, "susss", &texts[0], &replaced, &texts[1], &texts[2], &texts[3]);
        const std::lock_guard lock(desktop(data).mutex_);
        auto& balloons = desktop(data).balloons_;
        balloons.push_back(std::string(texts[2]) + "|" + texts[3] + "|" + std::to_string(replaced));
        return sd_bus_reply_method_return(call, "u", static_cast<unsigned>(balloons.size()));
    }

    static int closeBalloon(sd_bus_message* call, void* /*data*/, sd_bus_error* /*error*/) {
        return sd_bus_reply_method_return(call, "");
    }
};

namespace {

constexpr const char* notifications = "org.freedesktop.Notifications";
constexpr const char* notificationsPath = "/org/freedesktop/Notifications";

const sd_bus_vtable watcherCalls[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", FakeDesktopCalls::registerIcon, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};
const sd_bus_vtable notificationCalls[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("GetCapabilities", "", "as", FakeDesktopCalls::capabilities, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", FakeDesktopCalls::notify, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("CloseNotification", "u", "", FakeDesktopCalls::closeBalloon, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

}  // namespace

FakeDesktop::FakeDesktop(const std::string& address, std::vector<std::string> names) {
    thread_ = std::thread([this, address, names = std::move(names)] { serve(address, names); });
    run([](sd_bus* /*bus*/) {}, [] {});
}

FakeDesktop::~FakeDesktop() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    thread_.join();
}

void FakeDesktop::serve(const std::string& address, const std::vector<std::string>& names) {
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    sd_bus_set_address(bus, address.c_str());
    sd_bus_set_bus_client(bus, 1);
    sd_bus_start(bus);
    const char* const watcher = "org.kde.StatusNotifierWatcher";
    sd_bus_add_object_vtable(bus, nullptr, "/StatusNotifierWatcher", watcher, watcherCalls, this);
    sd_bus_add_object_vtable(bus, nullptr, notificationsPath, notifications, notificationCalls, this);
    for (const std::string& name : names) {
        sd_bus_request_name(bus, name.c_str(), 0);
    }
    for (bool isEnding = false; !isEnding;) {
        constexpr std::uint64_t microseconds = 2000;
        while (sd_bus_process(bus, nullptr) > 0) {
        }
        sd_bus_wait(bus, microseconds);
        std::function<void(sd_bus*)> work;
        {
            const std::lock_guard lock(mutex_);
            isEnding = isEnding_;
            work = std::exchange(work_, nullptr);
        }
        if (work) {
            work(bus);
            const std::lock_guard lock(mutex_);
            isReady_ = true;
        }
    }
    sd_bus_flush_close_unref(bus);
}

std::vector<std::string> FakeDesktop::icons() const {
    const std::lock_guard lock(mutex_);
    return icons_;
}

std::vector<std::string> FakeDesktop::balloons() const {
    const std::lock_guard lock(mutex_);
    return balloons_;
}

void FakeDesktop::clickBalloon(unsigned number) {
    run(
        [number](sd_bus* bus) {
            sd_bus_emit_signal(bus, notificationsPath, notifications, "ActionInvoked", "us", number, "default");
        },
        [] {});
}

void FakeDesktop::run(const std::function<void(sd_bus*)>& work, const std::function<void()>& meanwhile) {
    {
        const std::lock_guard lock(mutex_);
        work_ = work;
        isReady_ = false;
    }
    for (bool isReady = false; !isReady;) {
        meanwhile();
        std::this_thread::yield();
        const std::lock_guard lock(mutex_);
        isReady = isReady_;
    }
}

}  // namespace tests
