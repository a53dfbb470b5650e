// The process's lists of supported and unsupported phones, and the thread that keeps them fresh.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "device/device_list.h"
#include "device/device_list_update.h"

namespace device {

class DeviceFilterHandler {
public:
    // The one handler of the process, built with empty lists at the first call, which starts its update loop. Any
    // thread.
    static DeviceFilterHandler& instance();

    DeviceFilterHandler() = default;
    DeviceFilterHandler(const DeviceFilterHandler&) = delete;
    DeviceFilterHandler& operator=(const DeviceFilterHandler&) = delete;
    // Ends the update loop, if it runs: at once while it waits, else after its settling or its running pass, whose
    // transfers end early.
    ~DeviceFilterHandler();

    // Starts the thread, once. Five seconds later it makes its first pass over both lists, and further ones a day
    // after each that was sure of both, an hour after each that wasn't; 5 minutes and 1 minute if the configuration's
    // update-interval is "systest". A thread that can't be started is a line in the log.
    void startUpdateLoop();

    // One pass. Gives whether both lists are sure to be fresh. One thread at a time.
    bool updateLists();

    // Replace a whole list by what a document holds. A reader that comes meanwhile waits for the end.
    void replaceSupported(const data::Value& document);
    void replaceUnsupported(const data::Value& document);

    // Copies; nobody keeps a reference into the lists.
    std::vector<SupportedDevice> supportedDevices() const;
    std::vector<std::string> unsupportedDevices() const;

    // Of the last pass; for the thread that makes the passes.
    const DeviceListStatus& supportedStatus() const { return supportedStatus_; }
    const DeviceListStatus& unsupportedStatus() const { return unsupportedStatus_; }

private:
    // What FILETIME counts in.
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    using SystemTime = std::chrono::time_point<std::chrono::system_clock, Ticks>;

    static SystemTime now() { return std::chrono::time_point_cast<Ticks>(std::chrono::system_clock::now()); }

    void runUpdateLoop();
    void waitForUpdateTime(std::unique_lock<std::mutex>& lock);
    void makePass();

    std::vector<SupportedDevice> supportedDevices_;
    std::vector<std::string> unsupportedDevices_;
    std::thread updateThread_;
    SystemTime nextUpdateTime_ = now();
    base::CancelWord transfersEnd_ = 0;
    mutable std::mutex supportedMutex_;
    mutable std::mutex unsupportedMutex_;
    std::condition_variable loopCondition_;
    std::mutex loopMutex_;  // of the next three, and held through each pass; outer to the lists' own
    bool systest_ = false;
    bool exitRequested_ = false;
    DeviceListStatus supportedStatus_;
    DeviceListStatus unsupportedStatus_;
};

}  // namespace device
