#include "linux/windows/window_paint.h"

#include "linux/drawing/gdi_object.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "linux/windows/presenter.h"

namespace win32 {

namespace {

// The top-level window around a window, and where in it that one begins. The model is locked.
struct Located {
    HWND handle = nullptr;
    Window* root = nullptr;
    LONG x = 0;
    LONG y = 0;
    bool isVisible = true;
};

Located locate(HWND handle) {
    Located located;
    for (Window* each = findWindow(handle); each != nullptr; each = findWindow(handle)) {
        located.handle = handle;
        located.root = each;
        located.isVisible = located.isVisible && each->isShown();
        if (each->isTopLevel()) {
            break;
        }
        located.x += each->bounds.left;
        located.y += each->bounds.top;
        handle = each->parent;
    }
    return located;
}

bool isOwnerDrawn(const Window& window) {
    constexpr DWORD kinds = 0x1F;
    return !window.isTopLevel() && (window.style & kinds) == SS_OWNERDRAW;
}

// A class names a brush, or a colour of the system by its number and one; the only one in use is white.
COLORREF backgroundOf(const Window& window) {
    const auto* const brush = dynamic_cast<const Brush*>(findAnyObject(window.windowClass->details.hbrBackground));
    return brush == nullptr ? RGB(255, 255, 255) : brush->color;
}

// Where the window draws. What a program draws itself begins transparent, so that a picture's own shape shows.
// The model is locked.
Surface beginPart(Window& window, const Located& located) {
    if (!located.root->picture) {
        located.root->picture = makeSurface(located.root->width(), located.root->height());
    }
    Surface part(cairo_surface_create_for_rectangle(located.root->picture.get(), located.x, located.y, window.width(),
                                                    window.height()));
    if (isOwnerDrawn(window)) {
        clearSurface(part.get());
    } else {
        fillSurface(part.get(), backgroundOf(window));
    }
    return part;
}

// Shows a top-level window when all of it is drawn.
void showDrawn(HWND window) {
    ShownWindow shown{};
    std::shared_ptr<cairo_surface_t> picture;
    {
        const std::lock_guard lock(model().mutex);
        const Located located = locate(window);
        if (located.root == nullptr || !located.isVisible || !located.root->picture ||
            windowToPaint(*located.root->queue) != nullptr) {
            return;
        }
        picture = located.root->picture;
        window = located.handle;
        shown = {located.root->bounds, toBytes(located.root->title), picture.get()};
    }
    cairo_surface_flush(picture.get());
    presenter().showWindow(window, shown);
}

void drawStatic(HWND window) {
    PAINTSTRUCT paint{};
    const HDC context = BeginPaint(window, &paint);
    if (context == nullptr) {
        return;
    }
    HWND parent = nullptr;
    DRAWITEMSTRUCT item{};
    {
        const std::lock_guard lock(model().mutex);
        const Window* const control = findWindow(window);
        parent = control->parent;
        item.CtlID = static_cast<UINT>(reinterpret_cast<ULONG_PTR>(control->menu));
        item.rcItem = {0, 0, control->width(), control->height()};
    }
    item.CtlType = ODT_STATIC;
    item.itemAction = ODA_DRAWENTIRE;
    item.hwndItem = window;
    item.hDC = context;
    callWindow(parent, WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context), reinterpret_cast<LPARAM>(window));
    callWindow(parent, WM_DRAWITEM, item.CtlID, reinterpret_cast<LPARAM>(&item));
    EndPaint(window, &paint);
}

}  // namespace

void invalidate(HWND window) {
    {
        const std::lock_guard lock(model().mutex);
        Window* const found = findWindow(window);
        if (found == nullptr) {
            return;
        }
        found->isInvalid = true;
        found->queue->mayPaint = true;
    }
    for (const HWND child : childrenOf(window)) {
        invalidate(child);
    }
}

HWND windowToPaint(const MessageQueue& queue) {
    HWND found = nullptr;
    for (const auto& [handle, window] : model().windows) {
        if (window.isInvalid && window.queue.get() == &queue && locate(handle).isVisible &&
            (found == nullptr || window.isTopLevel())) {
            found = handle;
        }
    }
    return found;
}

void forgetShown(HWND window) {
    {
        const std::lock_guard lock(model().mutex);
        const Window* const found = findWindow(window);
        if (found == nullptr || !found->isTopLevel()) {
            return;
        }
        if (model().active == window) {
            model().active = nullptr;
        }
    }
    presenter().forgetWindow(window);
}

LRESULT CALLBACK staticControl(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    bool draws = false;
    if (message == WM_PAINT) {
        const std::lock_guard lock(model().mutex);
        const Window* const control = findWindow(window);
        draws = control != nullptr && isOwnerDrawn(*control);
    }
    if (!draws) {
        return DefWindowProcW(window, message, wParam, lParam);
    }
    drawStatic(window);
    return 0;
}

}  // namespace win32

using win32::model;

HDC WINAPI BeginPaint(HWND handle, LPPAINTSTRUCT paint) {
    WIN32_MAY_FAIL("BeginPaint", nullptr);
    auto context = std::make_unique<win32::DeviceContext>();
    {
        const std::lock_guard lock(model().mutex);
        win32::Window* const window = win32::findWindow(handle);
        if (window == nullptr) {
            return nullptr;
        }
        window->isInvalid = false;
        const win32::Located located = win32::locate(handle);
        context->part = located.isVisible ? win32::beginPart(*window, located) : win32::makeSurface(1, 1);
        *paint = {};
        paint->rcPaint = {0, 0, window->width(), window->height()};
    }
    paint->hdc = static_cast<HDC>(win32::addObject(std::move(context)));
    return paint->hdc;
}

BOOL WINAPI EndPaint(HWND handle, const PAINTSTRUCT* paint) {
    WIN32_MAY_FAIL("EndPaint", FALSE);
    win32::removeObject(paint->hdc);
    win32::showDrawn(handle);
    return TRUE;
}

BOOL WINAPI UpdateWindow(HWND handle) {
    WIN32_MAY_FAIL("UpdateWindow", FALSE);
    bool isDue = false;
    {
        const std::lock_guard lock(model().mutex);
        const win32::Window* const window = win32::findWindow(handle);
        if (window == nullptr) {
            return FALSE;
        }
        isDue = window->isInvalid && win32::locate(handle).isVisible;
    }
    if (isDue) {
        win32::callWindow(handle, WM_PAINT, 0, 0);
    }
    for (const HWND child : win32::childrenOf(handle)) {
        UpdateWindow(child);
    }
    return TRUE;
}
