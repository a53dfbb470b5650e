#include "linux/drawing/surface.h"

#include <algorithm>
#include <cstring>

namespace win32 {

namespace {

struct Rest {
    const BYTE* bytes;
    std::size_t size;
};

cairo_status_t readRest(void* closure, unsigned char* target, unsigned size) {
    Rest& rest = *static_cast<Rest*>(closure);
    if (size > rest.size) {
        return CAIRO_STATUS_READ_ERROR;
    }
    std::copy_n(rest.bytes, size, target);
    rest.bytes += size;
    rest.size -= size;
    return CAIRO_STATUS_SUCCESS;
}

bool isGood(const Surface& surface) { return cairo_surface_status(surface.get()) == CAIRO_STATUS_SUCCESS; }

void paint(cairo_surface_t* surface, double red, double green, double blue, double alpha) {
    const Cairo context(cairo_create(surface));
    cairo_set_operator(context.get(), CAIRO_OPERATOR_SOURCE);
    cairo_set_source_rgba(context.get(), red, green, blue, alpha);
    cairo_paint(context.get());
}

}  // namespace

Surface makeSurface(int width, int height) {
    Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
    return isGood(surface) ? std::move(surface) : nullptr;
}

Surface decodePng(const BYTE* bytes, std::size_t size) {
    Rest rest{bytes, size};
    Surface decoded(cairo_image_surface_create_from_png_stream(readRest, &rest));
    if (!isGood(decoded)) {
        return nullptr;
    }
    if (cairo_image_surface_get_format(decoded.get()) == CAIRO_FORMAT_ARGB32) {
        return decoded;
    }
    Surface converted =
        makeSurface(cairo_image_surface_get_width(decoded.get()), cairo_image_surface_get_height(decoded.get()));
    if (converted) {
        const Cairo context(cairo_create(converted.get()));
        cairo_set_source_surface(context.get(), decoded.get(), 0, 0);
        cairo_paint(context.get());
    }
    return converted;
}

void fillSurface(cairo_surface_t* surface, DWORD color) {
    constexpr double most = 255;
    paint(surface, (color & 0xFFU) / most, ((color >> 8U) & 0xFFU) / most, ((color >> 16U) & 0xFFU) / most, 1);
}

void clearSurface(cairo_surface_t* surface) { paint(surface, 0, 0, 0, 0); }

DWORD pixelOf(cairo_surface_t* surface, int x, int y) {
    DWORD pixel = 0;
    const auto row = static_cast<std::size_t>(y) * static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
    std::memcpy(&pixel, cairo_image_surface_get_data(surface) + row + static_cast<std::size_t>(x) * sizeof pixel,
                sizeof pixel);
    return pixel;
}

}  // namespace win32
