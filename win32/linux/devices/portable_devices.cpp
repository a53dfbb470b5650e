#include "linux/devices/portable_devices.h"

#include <libudev.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string_view>

#include "linux/support/text.h"

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

constexpr std::string_view interfaceClass = "#{6ac27878-a6fa-4155-ba85-f98f491d4f33}";

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

struct UsbIds {
    unsigned vendor;
    unsigned product;
};

unsigned hexadecimal(const std::string& digits) {
    return static_cast<unsigned>(std::strtoul(digits.c_str(), nullptr, 16)) & 0xFFFFU;
}

std::optional<UsbIds> idsFromAttributes(udev_device* device) {
    const std::string vendor = attribute(device, "idVendor");
    const std::string product = attribute(device, "idProduct");
    if (vendor.empty() || product.empty()) {
        return std::nullopt;
    }
    return UsbIds{hexadecimal(vendor), hexadecimal(product)};
}

// The kernel's own note of the identifiers, "18d1/4ee1/440", which the interface's node has as well.
std::optional<UsbIds> idsFromEvent(udev_device* device) {
    const std::string product = text(udev_device_get_property_value(device, "PRODUCT"));
    const std::size_t divider = product.find('/');
    if (divider == 0 || divider == std::string::npos) {
        return std::nullopt;
    }
    return UsbIds{hexadecimal(product), hexadecimal(product.substr(divider + 1))};
}

std::string hardwareId(const UsbIds& ids) {
    std::array<char, 24> id{};
    std::snprintf(id.data(), id.size(), "vid_%04x&pid_%04x", ids.vendor, ids.product);
    return id.data();
}

// Windows makes an identifier from the place in the tree where the device gives none of its own.
std::string portId(std::string_view systemPath) {
    unsigned hash = 2166136261U;
    for (const char c : systemPath) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    }
    std::array<char, 16> id{};
    std::snprintf(id.data(), id.size(), "%x", hash);
    return id.data();
}

// What may not stand inside one element of a device path.
std::string pathElement(std::string element) {
    std::replace_if(
        element.begin(), element.end(),
        [](char c) { return c == '#' || c == '\\' || c == '/' || static_cast<unsigned char>(c) <= ' '; }, '_');
    return element;
}

template <int fold(int)>
WideString folded(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(c < 0x80 ? fold(c) : c); });
    return toWide(text);
}

// `serials` holds those of the devices described so far: of several devices that claim the same one, the later ones
// are known by their ports, or the second phone of a kind whose maker numbers none would be the first.
PortableDevice describe(udev_device* node, udev_device* device, std::set<std::string>& serials) {
    PortableDevice result;
    result.systemPath = text(udev_device_get_syspath(device));
    const auto ids = idsFromAttributes(device);
    std::string serial = pathElement(attribute(device, "serial"));
    const std::string claim = (ids ? hardwareId(*ids) : std::string()) + "#" + serial;
    if (serial.empty() || !serials.insert(claim).second) {
        serial = "5&" + portId(result.systemPath) + "&0";
    }
    std::string element = ids ? hardwareId(*ids) : pathElement(text(udev_device_get_sysname(node)));
    std::string instance = serial;
    const bool composite = std::strtoul(attribute(device, "bNumInterfaces").c_str(), nullptr, 10) > 1;
    if (composite && ids) {
        const std::string number = attribute(node, "bInterfaceNumber");
        element += "&mi_" + (number.empty() ? std::string("00") : number);
        instance = "6&" + portId(result.systemPath) + "&0&00" + (number.empty() ? std::string("00") : number);
    }
    result.interfacePath = folded<std::tolower>("\\\\?\\usb#" + element + "#" + instance + std::string(interfaceClass));
    result.instanceId = folded<std::toupper>("usb\\" + element + "\\" + instance);
    if (!ids || composite) {
        auto carrier = ids ? ids : idsFromEvent(device);
        carrier = carrier ? carrier : idsFromEvent(node);
        if (carrier) {
            result.transportRelations.push_back(folded<std::toupper>("usb\\" + hardwareId(*carrier) + "\\" + serial));
        }
    }
    return result;
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
    std::set<std::string> serials;
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
            devices.push_back(describe(node.get(), device, serials));
        }
    }
    return true;
}

}  // namespace win32
