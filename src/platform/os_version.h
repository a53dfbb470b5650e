// The operating system's name for reports.
#pragma once

#include <cstdint>
#include <string>

#include "win32/system.h"

namespace dockset {

// "Windows 10 Home 64 bit", with two blanks where nothing stands between the name and the width.
std::string describeVersion(const OSVERSIONINFOEXA& version, WORD processorArchitecture);

}  // namespace dockset
