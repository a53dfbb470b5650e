// The logo that the popup shows.
#pragma once

#include "win32/drawing.h"

namespace agent {

inline constexpr int logoWidth = 348;
inline constexpr int logoHeight = 287;

// The packaged picture as a bitmap with alpha, which the caller gives back by DeleteObject. Null, with a line in the
// log, on any failure. GDI+ must be started.
HBITMAP loadLogo();

// Draws the bitmap over the item's rectangle. A failure is logged.
void drawLogo(const DRAWITEMSTRUCT& item, HBITMAP logo);

}  // namespace agent
