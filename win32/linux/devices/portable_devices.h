// The portable devices that are connected, as udev reports them.
#pragma once

#include <vector>

#include "linux/devices/device_identity.h"

namespace win32 {

// One fresh scan, in the order of the system's paths; each USB device once. False with an error number when udev
// can't be used.
bool findPortableDevices(std::vector<PortableDevice>& devices);

}  // namespace win32
