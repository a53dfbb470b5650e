// The process's lists of supported and unsupported phones.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "device/device_list.h"

namespace device {

class DeviceFilterHandler {
public:
    // The one handler of the process, built with empty lists at the first call. Any thread.
    static DeviceFilterHandler& instance();

    DeviceFilterHandler() = default;
    DeviceFilterHandler(const DeviceFilterHandler&) = delete;
    DeviceFilterHandler& operator=(const DeviceFilterHandler&) = delete;
    ~DeviceFilterHandler() = default;

    // Replace a whole list by what a document holds. A reader that comes meanwhile waits for the end of the parse.
    void replaceSupported(const std::vector<std::uint8_t>& document);
    void replaceUnsupported(const std::vector<std::uint8_t>& document);

    // Copies; nobody keeps a reference into the lists.
    std::vector<SupportedDevice> supportedDevices() const;
    std::vector<std::string> unsupportedDevices() const;

private:
    std::vector<SupportedDevice> supportedDevices_;
    std::vector<std::string> unsupportedDevices_;
    mutable std::mutex supportedMutex_;
    mutable std::mutex unsupportedMutex_;
};

}  // namespace device
