// Where a connected phone stands in the desktop's file manager.
#pragma once

#include <string>

namespace win32 {

// A folder or an address for the desktop's opener: where a device of that name is mounted for the user, by the desktop
// (GVfs) or as a disk (udisks), or else the file manager's own list of devices.
std::string deviceLocation(const std::string& name);

}  // namespace win32
