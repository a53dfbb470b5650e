// Showing, placing and activating windows.
#include <algorithm>
#include <utility>

#include "linux/support/scripted.h"
#include "linux/windows/presenter.h"
#include "linux/windows/window_model.h"
#include "linux/windows/window_paint.h"
#include "win32/window.h"

namespace win32 {

namespace {

// Changes the model's window and returns what it was; nothing if it isn't this thread's.
struct Before {
    bool wasVisible;
    bool wasActive;
    bool isTopLevel;
};

template <typename Change>
std::optional<Before> changeWindow(HWND handle, Change change) {
    const auto& own = threadQueue();
    const std::lock_guard lock(model().mutex);
    Window* const window = findWindow(handle);
    if (window == nullptr) {
        return std::nullopt;
    }
    if (window->queue != own) {
        SetLastError(ERROR_ACCESS_DENIED);
        return std::nullopt;
    }
    const Before before{window->isShown(), model().active == handle, window->isTopLevel()};
    change(*window);
    if (!window->isShown()) {
        window->picture.reset();
        if (before.wasActive) {
            model().active = nullptr;
        }
    }
    return before;
}

void setVisible(Window& window, bool visible) {
    window.style = visible ? window.style | WS_VISIBLE : window.style & ~WS_VISIBLE;
}

void hide(HWND window, const Before& before) {
    if (!before.wasVisible) {
        return;
    }
    if (before.isTopLevel) {
        presenter().hideWindow(window);
    }
    if (before.wasActive) {
        callWindow(window, WM_ACTIVATE, WA_INACTIVE, 0);
    }
}

void move(Window& window, int x, int y, int width, int height, UINT flags) {
    const LONG left = (flags & SWP_NOMOVE) != 0 ? window.bounds.left : x;
    const LONG top = (flags & SWP_NOMOVE) != 0 ? window.bounds.top : y;
    const bool keepsSize = (flags & SWP_NOSIZE) != 0;
    const LONG right = left + (keepsSize ? window.width() : std::max(width, 0));
    const LONG bottom = top + (keepsSize ? window.height() : std::max(height, 0));
    if (!keepsSize) {
        window.picture.reset();
    }
    window.bounds = {left, top, right, bottom};
}

}  // namespace

}  // namespace win32

using win32::model;

BOOL WINAPI ShowWindow(HWND handle, int command) {
    WIN32_MAY_FAIL("ShowWindow", FALSE);
    const bool visible = command != SW_HIDE;
    const auto before = win32::changeWindow(handle, [&](win32::Window& window) { win32::setVisible(window, visible); });
    if (!before) {
        return FALSE;
    }
    if (!visible) {
        win32::hide(handle, *before);
    } else if (!before->wasVisible) {
        win32::invalidate(handle);
    }
    return before->wasVisible;
}

BOOL WINAPI IsWindowVisible(HWND handle) {
    const std::lock_guard lock(model().mutex);
    const win32::Window* window = win32::findWindow(handle);
    while (window != nullptr && window->isShown() && !window->isTopLevel()) {
        window = win32::findWindow(window->parent);
    }
    return window != nullptr && window->isShown();
}

BOOL WINAPI SetWindowPos(HWND handle, HWND /*after*/, int x, int y, int width, int height, UINT flags) {
    WIN32_MAY_FAIL("SetWindowPos", FALSE);
    const auto before = win32::changeWindow(handle, [&](win32::Window& window) {
        win32::move(window, x, y, width, height, flags);
        if ((flags & (SWP_SHOWWINDOW | SWP_HIDEWINDOW)) != 0) {
            win32::setVisible(window, (flags & SWP_SHOWWINDOW) != 0);
        }
    });
    if (!before) {
        return FALSE;
    }
    if ((flags & SWP_HIDEWINDOW) != 0) {
        win32::hide(handle, *before);
    } else {
        win32::invalidate(handle);
    }
    return TRUE;
}

BOOL WINAPI GetWindowRect(HWND handle, RECT* rectangle) {
    WIN32_MAY_FAIL("GetWindowRect", FALSE);
    const std::lock_guard lock(model().mutex);
    const win32::Window* window = win32::findWindow(handle);
    if (window == nullptr || rectangle == nullptr) {
        return FALSE;
    }
    *rectangle = window->bounds;
    while (!window->isTopLevel() && (window = win32::findWindow(window->parent)) != nullptr) {
        const RECT& around = window->bounds;
        *rectangle = {rectangle->left + around.left, rectangle->top + around.top, rectangle->right + around.left,
                      rectangle->bottom + around.top};
    }
    return TRUE;
}

BOOL WINAPI SetForegroundWindow(HWND handle) {
    WIN32_MAY_FAIL("SetForegroundWindow", FALSE);
    const auto before = win32::changeWindow(handle, [](win32::Window&) {});
    if (!before || !before->wasVisible) {
        return before.has_value();
    }
    // The desktop has no window to activate before something is drawn.
    UpdateWindow(handle);
    if (!win32::presenter().activate(handle)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    HWND last = nullptr;
    {
        const std::lock_guard lock(model().mutex);
        last = std::exchange(model().active, handle);
    }
    if (last != nullptr && last != handle) {
        PostMessageW(last, WM_ACTIVATE, WA_INACTIVE, 0);
    }
    if (last != handle) {
        win32::callWindow(handle, WM_ACTIVATE, WA_ACTIVE, 0);
    }
    return TRUE;
}

HWND WINAPI GetForegroundWindow() {
    const std::lock_guard lock(model().mutex);
    return model().active;
}

int WINAPI GetSystemMetrics(int index) {
    WIN32_MAY_FAIL("GetSystemMetrics", 0);
    constexpr int smallIcon = 16;
    return index == SM_CXSMICON || index == SM_CYSMICON ? smallIcon : 0;
}

UINT WINAPI GetDoubleClickTime() {
    constexpr UINT milliseconds = 500;
    return milliseconds;
}
