#include "win32/drawing.h"

#include <map>
#include <mutex>
#include <utility>

#include "linux/drawing/gdi_object.h"
#include "linux/support/scripted.h"

namespace win32 {

namespace {

struct ObjectTable {
    std::mutex mutex;
    std::map<const void*, std::unique_ptr<GdiObject>> objects;
};

// Never destroyed: handles are given back until the very end of the process.
ObjectTable& table() {
    static auto* const instance = new ObjectTable;
    return *instance;
}

// What a context that draws into memory has selected at first.
Bitmap* stockBitmap() {
    static Bitmap* const bitmap = [] {
        auto made = std::make_unique<Bitmap>();
        made->surface = makeSurface(1, 1);
        made->selections = 1;
        return static_cast<Bitmap*>(addObject(std::move(made)));
    }();
    return bitmap;
}

struct Area {
    int x;
    int y;
    int width;
    int height;
};

RECT extents(cairo_surface_t* surface) {
    const Cairo context(cairo_create(surface));
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
    cairo_clip_extents(context.get(), &left, &top, &right, &bottom);
    return {static_cast<LONG>(left), static_cast<LONG>(top), static_cast<LONG>(right), static_cast<LONG>(bottom)};
}

bool overlap(const Area& a, const Area& b) {
    const auto end = [](LONGLONG begin, int size) { return begin + size; };
    return a.x < end(b.x, b.width) && b.x < end(a.x, a.width) && a.y < end(b.y, b.height) && b.y < end(a.y, a.height);
}

// For a transfer within one picture, whose parts may overlap.
Surface copyOf(cairo_surface_t* surface, const RECT& whole) {
    Surface copy = makeSurface(whole.right, whole.bottom);
    if (copy) {
        const Cairo context(cairo_create(copy.get()));
        cairo_set_source_surface(context.get(), surface, 0, 0);
        cairo_paint(context.get());
    }
    return copy;
}

bool isInside(cairo_surface_t* surface, int x, int y) {
    const RECT whole = extents(surface);
    return x >= whole.left && x < whole.right && y >= whole.top && y < whole.bottom;
}

// Scales a part of one context's picture into another's; false with ERROR_INVALID_HANDLE or ERROR_INVALID_PARAMETER.
bool transfer(HDC targetContext, const Area& to, HDC sourceContext, const Area& from, cairo_operator_t how,
              double alpha, bool isBlending) {
    const DeviceContext* const target = findObject<DeviceContext>(targetContext);
    const DeviceContext* const source = target == nullptr ? nullptr : findObject<DeviceContext>(sourceContext);
    if (source == nullptr) {
        return false;
    }
    if (to.width <= 0 || to.height <= 0 || from.width <= 0 || from.height <= 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const RECT whole = extents(source->target());
    const bool isSame = source->target() == target->target();
    const bool isOutside = from.x < whole.left || from.y < whole.top || from.x > whole.right - from.width ||
                           from.y > whole.bottom - from.height;
    if (isBlending && (isOutside || (isSame && overlap(from, to)))) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    const Cairo context(cairo_create(target->target()));
    cairo_set_antialias(context.get(), CAIRO_ANTIALIAS_NONE);
    cairo_rectangle(context.get(), to.x, to.y, to.width, to.height);
    cairo_clip(context.get());
    cairo_translate(context.get(), to.x, to.y);
    cairo_scale(context.get(), static_cast<double>(to.width) / from.width,
                static_cast<double>(to.height) / from.height);
    // Where the source ends, the target stays.
    cairo_rectangle(context.get(), static_cast<double>(whole.left) - from.x, static_cast<double>(whole.top) - from.y,
                    whole.right - whole.left, whole.bottom - whole.top);
    cairo_clip(context.get());
    // A picture of its own, so that nothing around it is mixed in; scaled without mixing, as Windows does.
    const Surface copy = isSame ? copyOf(source->target(), whole) : nullptr;
    cairo_surface_t* const picture = copy ? copy.get() : source->target();
    const Surface part(cairo_surface_create_for_rectangle(picture, from.x, from.y, from.width, from.height));
    cairo_set_source_surface(context.get(), part.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(context.get()), CAIRO_FILTER_NEAREST);
    cairo_set_operator(context.get(), how);
    cairo_paint_with_alpha(context.get(), alpha);
    return true;
}

}  // namespace

void* addObject(std::unique_ptr<GdiObject> object) {
    const std::lock_guard lock(table().mutex);
    void* const handle = object.get();
    table().objects.emplace(handle, std::move(object));
    return handle;
}

GdiObject* findAnyObject(const void* handle) {
    const std::lock_guard lock(table().mutex);
    const auto found = table().objects.find(handle);
    return found == table().objects.end() ? nullptr : found->second.get();
}

std::unique_ptr<GdiObject> removeObject(const void* handle) {
    const std::lock_guard lock(table().mutex);
    const auto found = table().objects.extract(handle);
    return found.empty() ? nullptr : std::move(found.mapped());
}

}  // namespace win32

using win32::DeviceContext;
using win32::findObject;

HBRUSH WINAPI CreateSolidBrush(COLORREF color) {
    WIN32_MAY_FAIL("CreateSolidBrush", nullptr);
    auto brush = std::make_unique<win32::Brush>();
    brush->color = color;
    return static_cast<HBRUSH>(win32::addObject(std::move(brush)));
}

BOOL WINAPI DeleteObject(HGDIOBJ object) {
    WIN32_MAY_FAIL("DeleteObject", FALSE);
    const win32::GdiObject* const found = win32::findAnyObject(object);
    const auto* const bitmap = dynamic_cast<const win32::Bitmap*>(found);
    if (bitmap != nullptr && bitmap == win32::stockBitmap()) {
        return TRUE;
    }
    if (found == nullptr || dynamic_cast<const DeviceContext*>(found) != nullptr ||
        (bitmap != nullptr && bitmap->selections > 0)) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return win32::removeObject(object) != nullptr;
}

HDC WINAPI CreateCompatibleDC(HDC like) {
    WIN32_MAY_FAIL("CreateCompatibleDC", nullptr);
    if (like != nullptr && findObject<DeviceContext>(like) == nullptr) {
        return nullptr;
    }
    auto context = std::make_unique<DeviceContext>();
    context->bitmap = win32::stockBitmap();
    ++context->bitmap->selections;
    return static_cast<HDC>(win32::addObject(std::move(context)));
}

BOOL WINAPI DeleteDC(HDC context) {
    WIN32_MAY_FAIL("DeleteDC", FALSE);
    const DeviceContext* const found = findObject<DeviceContext>(context);
    if (found == nullptr) {
        return FALSE;
    }
    if (found->bitmap != nullptr) {
        --found->bitmap->selections;
    }
    return win32::removeObject(context) != nullptr;
}

HGDIOBJ WINAPI SelectObject(HDC context, HGDIOBJ object) {
    WIN32_MAY_FAIL("SelectObject", nullptr);
    auto* const found = findObject<DeviceContext>(context);
    auto* const bitmap = found == nullptr ? nullptr : findObject<win32::Bitmap>(object);
    if (bitmap == nullptr || found->bitmap == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    if (bitmap->selections > 0 && bitmap != found->bitmap && bitmap != win32::stockBitmap()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    --found->bitmap->selections;
    ++bitmap->selections;
    return static_cast<win32::GdiObject*>(std::exchange(found->bitmap, bitmap));
}

COLORREF WINAPI SetBkColor(HDC context, COLORREF color) {
    WIN32_MAY_FAIL("SetBkColor", CLR_INVALID);
    auto* const found = findObject<DeviceContext>(context);
    return found == nullptr ? CLR_INVALID : std::exchange(found->background, color);
}

COLORREF WINAPI GetPixel(HDC context, int x, int y) {
    WIN32_MAY_FAIL("GetPixel", CLR_INVALID);
    const DeviceContext* const found = findObject<DeviceContext>(context);
    if (found == nullptr) {
        return CLR_INVALID;
    }
    if (!win32::isInside(found->target(), x, y)) {
        return CLR_INVALID;
    }
    const win32::Surface one = win32::makeSurface(1, 1);
    {
        const win32::Cairo copy(cairo_create(one.get()));
        cairo_set_source_surface(copy.get(), found->target(), -x, -y);
        cairo_set_operator(copy.get(), CAIRO_OPERATOR_SOURCE);
        cairo_paint(copy.get());
    }
    cairo_surface_flush(one.get());
    const DWORD pixel = win32::pixelOf(one.get(), 0, 0);
    return RGB(pixel >> 16U, pixel >> 8U, pixel);
}

BOOL WINAPI AlphaBlend(HDC target, int targetX, int targetY, int targetWidth, int targetHeight, HDC source, int sourceX,
                       int sourceY, int sourceWidth, int sourceHeight, BLENDFUNCTION blend) {
    WIN32_MAY_FAIL("AlphaBlend", FALSE);
    if (blend.BlendOp != AC_SRC_OVER || blend.BlendFlags != 0 || blend.AlphaFormat != AC_SRC_ALPHA) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return win32::transfer(target, {targetX, targetY, targetWidth, targetHeight}, source,
                           {sourceX, sourceY, sourceWidth, sourceHeight}, CAIRO_OPERATOR_OVER,
                           blend.SourceConstantAlpha / 255.0, true);
}

BOOL WINAPI StretchBlt(HDC target, int targetX, int targetY, int targetWidth, int targetHeight, HDC source, int sourceX,
                       int sourceY, int sourceWidth, int sourceHeight, DWORD operation) {
    WIN32_MAY_FAIL("StretchBlt", FALSE);
    if (operation != SRCCOPY) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return win32::transfer(target, {targetX, targetY, targetWidth, targetHeight}, source,
                           {sourceX, sourceY, sourceWidth, sourceHeight}, CAIRO_OPERATOR_SOURCE, 1, false);
}
