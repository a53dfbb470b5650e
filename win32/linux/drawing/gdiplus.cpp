// Decoding pictures. GDI+ counts its users: it works while anyone has it started.
#include <atomic>
#include <cstdlib>

#include "linux/drawing/gdi_object.h"
#include "linux/kernel/memory_stream.h"
#include "linux/support/scripted.h"
#include "win32/drawing.h"

namespace win32 {

namespace {

std::atomic<int> users = 0;

struct DecodedBitmap : Gdiplus::GpBitmap {
    Surface surface;
};

Surface copyOf(cairo_surface_t* surface) {
    Surface copy = makeSurface(cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface));
    if (copy) {
        const Cairo context(cairo_create(copy.get()));
        cairo_set_source_surface(context.get(), surface, 0, 0);
        cairo_paint(context.get());
    }
    return copy;
}

}  // namespace

}  // namespace win32

namespace Gdiplus {

GpStatus WINAPI GdiplusStartup(ULONG_PTR* token, const GdiplusStartupInput* input, GdiplusStartupOutput* output) {
    WIN32_MAY_RETURN("GdiplusStartup", GpStatus);
    if (token == nullptr || input == nullptr || (input->SuppressBackgroundThread != FALSE && output == nullptr)) {
        return InvalidParameter;
    }
    if (input->GdiplusVersion != 1) {
        return UnsupportedGdiplusVersion;
    }
    ++win32::users;
    *token = 1;
    return Ok;
}

void WINAPI GdiplusShutdown(ULONG_PTR token) {
    if (token != 0 && win32::users > 0) {
        --win32::users;
    }
}

namespace DllExports {

void* WINAPI GdipAlloc(std::size_t size) {
    WIN32_MAY_FAIL("GdipAlloc", nullptr);
    return win32::users > 0 ? std::malloc(size) : nullptr;
}

void WINAPI GdipFree(void* memory) { std::free(memory); }

GpStatus WINAPI GdipCreateBitmapFromStream(IStream* stream, GpBitmap** bitmap) {
    WIN32_MAY_RETURN("GdipCreateBitmapFromStream", GpStatus);
    if (win32::users == 0) {
        return GdiplusNotInitialized;
    }
    if (stream == nullptr || bitmap == nullptr) {
        return InvalidParameter;
    }
    *bitmap = nullptr;
    const auto bytes = win32::bytesOf(stream);
    win32::Surface surface = win32::decodePng(bytes.data(), bytes.size());
    if (!surface) {
        return InvalidParameter;
    }
    auto* const decoded = new win32::DecodedBitmap;
    decoded->surface = std::move(surface);
    *bitmap = decoded;
    return Ok;
}

GpStatus WINAPI GdipCreateHBITMAPFromBitmap(GpBitmap* bitmap, HBITMAP* result, ARGB /*background*/) {
    WIN32_MAY_RETURN("GdipCreateHBITMAPFromBitmap", GpStatus);
    if (win32::users == 0) {
        return GdiplusNotInitialized;
    }
    if (bitmap == nullptr || result == nullptr) {
        return InvalidParameter;
    }
    auto made = std::make_unique<win32::Bitmap>();
    made->surface = win32::copyOf(static_cast<win32::DecodedBitmap*>(bitmap)->surface.get());
    if (!made->surface) {
        return OutOfMemory;
    }
    *result = static_cast<HBITMAP>(win32::addObject(std::move(made)));
    return Ok;
}

GpStatus WINAPI GdipDisposeImage(GpImage* image) {
    WIN32_MAY_RETURN("GdipDisposeImage", GpStatus);
    if (win32::users == 0) {
        return GdiplusNotInitialized;
    }
    if (image == nullptr) {
        return InvalidParameter;
    }
    delete static_cast<win32::DecodedBitmap*>(image);
    return Ok;
}

}  // namespace DllExports

}  // namespace Gdiplus
