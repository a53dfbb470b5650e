// The portable devices that are connected, as udev reports them.
#pragma once

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

// One fresh scan, in the order of the system's paths; each USB device once. False with an error number when udev
// can't be used.
bool findPortableDevices(std::vector<PortableDevice>& devices);

}  // namespace win32
