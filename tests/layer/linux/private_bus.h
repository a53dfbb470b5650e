// A session bus of a test's own, and on it, served by a thread, what a desktop has there: the watcher for icons and the
// service for notifications.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tests {

// Starts in the constructor and ends with the object. DBUS_SESSION_BUS_ADDRESS is the test's business.
class PrivateBus {
public:
    explicit PrivateBus(const std::string& directory);
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;
    ~PrivateBus();

    const std::string& address() const { return address_; }

private:
    std::string address_;
    std::FILE* output_ = nullptr;
    int process_ = -1;
};

// All calls from the test's thread.
class FakeDesktop {
public:
    // With `names`, owns these on the bus.
    FakeDesktop(const std::string& address, std::vector<std::string> names);
    FakeDesktop(const FakeDesktop&) = delete;
    FakeDesktop& operator=(const FakeDesktop&) = delete;
    ~FakeDesktop();

    // The icons registered, and the notifications shown as "title|text|replaced", so far.
    std::vector<std::string> icons() const;
    std::vector<std::string> balloons() const;
    // Clicks on a notification.
    void clickBalloon(unsigned number);
    // Runs on the thread of the desktop, with its connection, and waits for the end; `meanwhile` is called all the
    // time.
    void run(const std::function<void(sd_bus*)>& work, const std::function<void()>& meanwhile);

private:
    friend struct FakeDesktopCalls;
    void serve(const std::string& address, const std::vector<std::string>& names);

    mutable std::mutex mutex_;
    std::vector<std::string> icons_;
    std::vector<std::string> balloons_;
    std::function<void(sd_bus*)> work_;
    bool isReady_ = false;
    bool isEnding_ = false;
    std::thread thread_;
};

}  // namespace tests
