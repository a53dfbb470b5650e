#include "device/device_filter_handler.h"

namespace device {

DeviceFilterHandler& DeviceFilterHandler::instance() {
    static DeviceFilterHandler handler;
    return handler;
}

void DeviceFilterHandler::replaceSupported(const std::vector<std::uint8_t>& document) {
    const std::lock_guard lock(supportedMutex_);
    supportedDevices_ = parseSupportedList(document);
}

void DeviceFilterHandler::replaceUnsupported(const std::vector<std::uint8_t>& document) {
    const std::lock_guard lock(unsupportedMutex_);
    unsupportedDevices_ = parseUnsupportedList(document);
}

std::vector<SupportedDevice> DeviceFilterHandler::supportedDevices() const {
    const std::lock_guard lock(supportedMutex_);
    return supportedDevices_;
}

std::vector<std::string> DeviceFilterHandler::unsupportedDevices() const {
    const std::lock_guard lock(unsupportedMutex_);
    return unsupportedDevices_;
}

}  // namespace device
