// Pictures in memory: 32 bits a pixel, alpha in the high byte, premultiplied, in the machine's byte order.
#pragma once

#include <cairo.h>

#include <memory>

#include "win32/types.h"

namespace win32 {

struct SurfaceEnd {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceEnd>;

struct CairoEnd {
    void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Cairo = std::unique_ptr<cairo_t, CairoEnd>;

// Transparent all over; null if there is no memory.
Surface makeSurface(int width, int height);

// Null if it isn't a PNG.
Surface decodePng(const BYTE* bytes, std::size_t size);

// Fills with a colour (0x00BBGGRR), opaque.
void fillSurface(cairo_surface_t* surface, DWORD color);
void clearSurface(cairo_surface_t* surface);

// A pixel of an image surface.
DWORD pixelOf(cairo_surface_t* surface, int x, int y);

}  // namespace win32
