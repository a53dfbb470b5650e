// Files that this process holds and whose deletion it doesn't share: on Windows their paths can't come to mean other
// files meanwhile.
#pragma once

#include <string>

#include "linux/support/descriptor.h"

namespace win32 {

// A descriptor of its own for the file that is held by exactly this path, for reading; none if none is. Any thread.
Descriptor openHeld(const std::string& path);

// Notes a file that is held from now on, or no longer.
void addHeld(const std::string& path, int descriptor);
void removeHeld(int descriptor);

}  // namespace win32
