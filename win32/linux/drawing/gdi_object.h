// Brushes, bitmaps and device contexts behind their handles. The table is for all threads; an object is for one.
#pragma once

#include <memory>

#include "linux/drawing/surface.h"
#include "win32/drawing.h"

namespace win32 {

struct GdiObject {
    GdiObject() = default;
    GdiObject(const GdiObject&) = delete;
    GdiObject& operator=(const GdiObject&) = delete;
    virtual ~GdiObject() = default;
};

struct Brush : GdiObject {
    COLORREF color = 0;
};

struct Bitmap : GdiObject {
    Surface surface;
    int selections = 0;
};

struct DeviceContext : GdiObject {
    // Where it draws: the selected bitmap, or its own part of a window's picture.
    cairo_surface_t* target() const { return bitmap == nullptr ? part.get() : bitmap->surface.get(); }

    Surface part;
    Bitmap* bitmap = nullptr;
    COLORREF background = RGB(255, 255, 255);
};

void* addObject(std::unique_ptr<GdiObject> object);
// Null with ERROR_INVALID_HANDLE.
GdiObject* findAnyObject(const void* handle);
std::unique_ptr<GdiObject> removeObject(const void* handle);

template <typename Object>
Object* findObject(const void* handle) {
    auto* const object = dynamic_cast<Object*>(findAnyObject(handle));
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return object;
}

}  // namespace win32
