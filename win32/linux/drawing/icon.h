// The icons behind their handles.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "win32/resource.h"

namespace win32 {

struct IconImage {
    int width = 0;
    int height = 0;
    std::string pixels;  // four bytes each: alpha, red, green, blue, not premultiplied
};

struct Icon {
    std::string themeName;          // of an icon of the desktop's own
    std::vector<IconImage> images;  // the group's, smallest first
    bool isShared = false;          // lives as long as the process
};

// Null if there is none.
std::shared_ptr<const Icon> findIcon(HICON handle);

}  // namespace win32
