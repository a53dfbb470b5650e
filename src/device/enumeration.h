// One scan of the portable devices that are connected.
#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <vector>

#include "device/device_list.h"
#include "win32/types.h"

namespace device {

// Interface paths in lower case, ordered by their code units.
using ConnectedDeviceSet = std::set<WideString>;

// Whether every device with readable identifiers counts, list or no list. False until the scanner has read the
// configuration.
extern std::atomic<bool> acceptUnrecognizedDevices;

// The interface paths of all portable devices that are connected, as the system writes them. Empty, with a line in the
// log, when the system can't be queried. Must run on a thread that has entered the multithreaded apartment.
std::vector<WideString> portableDevicePaths();

// What the system tells of a device beyond its interface path; empty where it tells nothing.
struct DeviceRelations {
    WideString instanceId;
    std::vector<WideString> carriers;  // the instance identifiers of the devices that carry it
};

DeviceRelations deviceRelations(const WideString& path);

// The devices of `portableDevicePaths` that pass: those whose vendor and product, given by their own path or by the
// devices that carry them, match the list.
ConnectedDeviceSet enumerateDevices(const std::vector<SupportedDevice>& list);

struct UsbIdentifiers {
    bool valid = false;
    std::uint32_t vendor = 0;
    std::uint32_t product = 0;
};

// The hexadecimal numbers behind "vid_" and "pid_" in a lower-cased text, in any order. Both are 0 unless valid.
UsbIdentifiers parseVidPid(const WideString& text);

}  // namespace device
