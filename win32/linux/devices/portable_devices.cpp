#include "linux/devices/portable_devices.h"

#include <libudev.h>

#include <memory>
#include <set>

namespace win32 {

namespace {

template <auto release>
struct Release {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};
using Udev = std::unique_ptr<udev, Release<udev_unref>>;
using Enumerate = std::unique_ptr<udev_enumerate, Release<udev_enumerate_unref>>;
using Device = std::unique_ptr<udev_device, Release<udev_device_unref>>;

std::string text(const char* value) { return value == nullptr ? std::string() : std::string(value); }
std::string attribute(udev_device* device, const char* name) {
    return text(udev_device_get_sysattr_value(device, name));
}

bool isPortable(udev_device* node) {
    const std::string type = attribute(node, "bInterfaceClass");
    if (type == "06") {
        return attribute(node, "bInterfaceSubClass") == "01" && attribute(node, "bInterfaceProtocol") == "01";
    }
    return type == "ff" && attribute(node, "interface").find("MTP") != std::string::npos;
}

DeviceFacts factsOf(udev_device* node, udev_device* device) {
    DeviceFacts facts;
    facts.systemPath = text(udev_device_get_syspath(device));
    facts.nodeName = text(udev_device_get_sysname(node));
    facts.vendor = attribute(device, "idVendor");
    facts.product = attribute(device, "idProduct");
    facts.serial = attribute(device, "serial");
    facts.interfaceCount = attribute(device, "bNumInterfaces");
    facts.interfaceNumber = attribute(node, "bInterfaceNumber");
    facts.deviceEvent = text(udev_device_get_property_value(device, "PRODUCT"));
    facts.nodeEvent = text(udev_device_get_property_value(node, "PRODUCT"));
    return facts;
}

}  // namespace

bool findPortableDevices(std::vector<PortableDevice>& devices) {
    const Udev udev(udev_new());
    const Enumerate enumerate(udev ? udev_enumerate_new(udev.get()) : nullptr);
    if (!enumerate || udev_enumerate_add_match_subsystem(enumerate.get(), "usb") < 0 ||
        udev_enumerate_scan_devices(enumerate.get()) < 0) {
        return false;
    }
    std::set<std::string> seen;
    std::set<std::string> claims;
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate.get())) {
        const Device node(udev_device_new_from_syspath(udev.get(), udev_list_entry_get_name(entry)));
        if (!node || !isPortable(node.get())) {
            continue;
        }
        // The child owns its parent's record.
        udev_device* device = udev_device_get_parent_with_subsystem_devtype(node.get(), "usb", "usb_device");
        device = device == nullptr ? node.get() : device;
        if (seen.insert(text(udev_device_get_syspath(device))).second) {
            devices.push_back(identify(factsOf(node.get(), device), claims));
        }
    }
    return true;
}

}  // namespace win32
