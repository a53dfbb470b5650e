// How a device is called, as Windows would compose it.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "win32/types.h"

namespace win32 {

struct PortableDevice {
    std::string systemPath;  // of the USB device's node
    WideString interfacePath;
    WideString instanceId;
    std::vector<WideString> transportRelations;  // instance identifiers; may be empty
};

// What the system reports of a device, and of the interface for which it counts as portable. The serial is the device's
// own text, and any but the two first may be empty.
struct DeviceFacts {
    std::string systemPath;
    std::string nodeName;  // of the interface
    std::string vendor;    // in hexadecimal, as the next
    std::string product;
    std::string serial;
    std::string interfaceCount;
    std::string interfaceNumber;
    std::string deviceEvent;  // the kernel's own note of the identifiers, "18d1/4ee1/440"
    std::string nodeEvent;
};

// `claims` holds what the devices identified so far are called: of several that claim the same serial, the later ones
// are known by their ports, or the second phone of a kind whose maker numbers none would be the first.
PortableDevice identify(const DeviceFacts& facts, std::set<std::string>& claims);

}  // namespace win32
