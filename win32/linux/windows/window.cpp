#include "win32/window.h"

#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "linux/windows/window_model.h"
#include "linux/windows/window_paint.h"
#include "linux/windows/window_signals.h"
#include "win32/drawing.h"

namespace win32 {

namespace {

constexpr ATOM firstAtom = 0xC000;

std::u16string lowerCase(std::u16string_view text) {
    std::u16string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; });
    return lower;
}

// 0 with ERROR_CLASS_ALREADY_EXISTS for a known name. The model is locked, or not in use yet.
ATOM addClass(Model& model, const WNDCLASSEXW& details) {
    auto added = std::make_shared<WindowClass>();
    added->name = details.lpszClassName;
    added->atom = static_cast<ATOM>(firstAtom + model.classes.size());
    added->details = details;
    added->details.lpszClassName = nullptr;
    added->details.lpszMenuName = nullptr;
    const ATOM atom = added->atom;
    if (!model.classes.emplace(lowerCase(details.lpszClassName), std::move(added)).second) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    return atom;
}

Model* makeModel() {
    auto* const made = new Model;
    WNDCLASSEXW control{};
    control.lpfnWndProc = staticControl;
    control.lpszClassName = u"Static";
    addClass(*made, control);
    return made;
}

// By name or atom. The model is locked.
std::shared_ptr<const WindowClass> findClass(LPCWSTR nameOrAtom) {
    const auto number = reinterpret_cast<ULONG_PTR>(nameOrAtom);
    for (const auto& [name, windowClass] : model().classes) {
        if (number <= 0xFFFF ? windowClass->atom == number : name == lowerCase(nameOrAtom)) {
            return windowClass;
        }
    }
    SetLastError(ERROR_CANNOT_FIND_WND_CLASS);
    return nullptr;
}

// Null with the last error set if this process has as many windows as it can tell apart. The model is locked.
HWND freeHandle() {
    constexpr unsigned mask = (1U << windowIndexBits) - 1;
    for (unsigned tries = 0; tries < mask; ++tries) {
        model().lastIndex = model().lastIndex % mask + 1;
        const HWND handle = windowHandleOf(getpid(), model().lastIndex);
        if (!model().windows.contains(handle)) {
            return handle;
        }
    }
    SetLastError(ERROR_NOT_ENOUGH_QUOTA);
    return nullptr;
}

// Enters a window that has had no message yet. The model is locked.
HWND addWindow(Window window) {
    const HWND handle = freeHandle();
    if (handle == nullptr) {
        return nullptr;
    }
    if (window.isTopLevel()) {
        countTopLevelWindow(1);
        model().link.publish(handle, window.windowClass->name);
    }
    model().windows.emplace(handle, std::move(window));
    return handle;
}

bool isParentSuitable(DWORD style, HWND parent) {
    if (parent != nullptr) {
        return findWindow(parent) != nullptr;
    }
    if ((style & WS_CHILD) != 0) {
        SetLastError(ERROR_TLW_WITH_WSCHILD);
        return false;
    }
    return true;
}

void discard(HWND window) {
    callWindow(window, WM_NCDESTROY, 0, 0);
    forgetShown(window);
    const std::lock_guard lock(model().mutex);
    removeWindow(window);
}

// The class of any window of the session; empty with ERROR_INVALID_WINDOW_HANDLE if there is none.
std::u16string classNameOf(HWND window) {
    if (processOf(window) == getpid()) {
        const std::lock_guard lock(model().mutex);
        const Window* const own = findWindow(window);
        return own == nullptr ? std::u16string() : own->windowClass->name;
    }
    const auto name = foreignClassName(window);
    if (!name) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    }
    return name.value_or(std::u16string());
}

template <typename Char>
int copyText(const std::basic_string<Char>& text, Char* buffer, int size) {
    if (text.empty()) {
        return 0;
    }
    if (size <= 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    const std::size_t length = text.copy(buffer, static_cast<std::size_t>(size) - 1);
    buffer[length] = 0;
    return static_cast<int>(length);
}

}  // namespace

Model& model() {
    static auto* const instance = makeModel();
    return *instance;
}

Window* findWindow(HWND window) {
    const auto found = model().windows.find(window);
    if (found == model().windows.end()) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
    }
    return &found->second;
}

void removeWindow(HWND window) {
    const auto found = model().windows.find(window);
    if (found == model().windows.end()) {
        return;
    }
    MessageQueue& queue = *found->second.queue;
    std::erase_if(queue.posted, [&](const MSG& message) { return message.hwnd == window; });
    std::erase_if(queue.timers, [&](const Timer& timer) { return timer.window == window; });
    if (found->second.isTopLevel()) {
        countTopLevelWindow(-1);
        model().link.withdraw(window);
    }
    model().windows.erase(found);
}

std::vector<HWND> childrenOf(HWND window) {
    const std::lock_guard lock(model().mutex);
    std::vector<HWND> children;
    for (const auto& [handle, each] : model().windows) {
        if (each.parent == window) {
            children.push_back(handle);
        }
    }
    return children;
}

LRESULT callWindow(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    WNDPROC procedure = nullptr;
    const auto& queue = threadQueue();
    {
        const std::lock_guard lock(model().mutex);
        const Window* const target = findWindow(window);
        if (target == nullptr) {
            return 0;
        }
        if (target->queue != queue) {
            SetLastError(ERROR_NOT_SUPPORTED);
            return 0;
        }
        procedure = target->procedure;
    }
    return procedure(window, message, wParam, lParam);
}

}  // namespace win32

using win32::model;

ATOM WINAPI RegisterClassExW(const WNDCLASSEXW* windowClass) {
    WIN32_MAY_FAIL("RegisterClassExW", 0);
    if (windowClass->cbSize != sizeof(WNDCLASSEXW) || windowClass->lpfnWndProc == nullptr ||
        windowClass->lpszClassName == nullptr || *windowClass->lpszClassName == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::lock_guard lock(model().mutex);
    return win32::addClass(model(), *windowClass);
}

HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                            int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter) {
    WIN32_MAY_FAIL("CreateWindowExW", nullptr);
    win32::Window window;
    window.queue = win32::threadQueue();
    window.title = title == nullptr ? WideString() : title;
    window.style = style;
    window.extendedStyle = extendedStyle;
    window.bounds = {x, y, x + std::max(width, 0), y + std::max(height, 0)};
    window.parent = parent;
    window.menu = menu;
    window.instance = instance;
    HWND handle = nullptr;
    {
        const std::lock_guard lock(model().mutex);
        window.windowClass = win32::findClass(className);
        if (!window.windowClass || !win32::isParentSuitable(style, parent)) {
            return nullptr;
        }
        window.procedure = window.windowClass->details.lpfnWndProc;
        handle = win32::addWindow(std::move(window));
    }
    if (handle == nullptr) {
        return nullptr;
    }
    CREATESTRUCTW creation{parameter, instance,  menu,         parent, height, width, y, x, static_cast<LONG>(style),
                           title,     className, extendedStyle};
    const auto details = reinterpret_cast<LPARAM>(&creation);
    if (win32::callWindow(handle, WM_NCCREATE, 0, details) == 0) {
        win32::discard(handle);
        return nullptr;
    }
    if (win32::callWindow(handle, WM_CREATE, 0, details) == -1) {
        DestroyWindow(handle);
        return nullptr;
    }
    if ((style & WS_VISIBLE) != 0) {
        win32::invalidate(handle);
    }
    return IsWindow(handle) ? handle : nullptr;
}

BOOL WINAPI DestroyWindow(HWND handle) {
    WIN32_MAY_FAIL("DestroyWindow", FALSE);
    const auto& queue = win32::threadQueue();
    {
        const std::lock_guard lock(model().mutex);
        win32::Window* const window = win32::findWindow(handle);
        if (window == nullptr) {
            return FALSE;
        }
        if (window->queue != queue) {
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        if (std::exchange(window->isDying, true)) {
            return TRUE;
        }
    }
    win32::callWindow(handle, WM_DESTROY, 0, 0);
    for (const HWND child : win32::childrenOf(handle)) {
        DestroyWindow(child);
    }
    win32::discard(handle);
    return TRUE;
}

LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM /*wParam*/, LPARAM /*lParam*/) {
    if (message == WM_CLOSE) {
        DestroyWindow(window);
    } else if (message == WM_PAINT) {
        PAINTSTRUCT paint{};
        BeginPaint(window, &paint);
        EndPaint(window, &paint);
    }
    return message == WM_NCCREATE ? TRUE : 0;
}

LONG_PTR WINAPI GetWindowLongPtrW(HWND handle, int index) {
    WIN32_MAY_FAIL("GetWindowLongPtrW", 0);
    const std::lock_guard lock(model().mutex);
    const win32::Window* const window = win32::findWindow(handle);
    if (window == nullptr) {
        return 0;
    }
    switch (index) {
        case GWLP_USERDATA:
            return window->userData;
        case GWLP_WNDPROC:
            return reinterpret_cast<LONG_PTR>(window->procedure);
        default:
            SetLastError(ERROR_INVALID_INDEX);
            return 0;
    }
}

LONG_PTR WINAPI SetWindowLongPtrW(HWND handle, int index, LONG_PTR value) {
    WIN32_MAY_FAIL("SetWindowLongPtrW", 0);
    const std::lock_guard lock(model().mutex);
    win32::Window* const window = win32::findWindow(handle);
    if (window == nullptr) {
        return 0;
    }
    switch (index) {
        case GWLP_USERDATA:
            return std::exchange(window->userData, value);
        case GWLP_WNDPROC:
            return reinterpret_cast<LONG_PTR>(std::exchange(window->procedure, reinterpret_cast<WNDPROC>(value)));
        default:
            SetLastError(ERROR_INVALID_INDEX);
            return 0;
    }
}

HCURSOR WINAPI LoadCursorW(HINSTANCE /*instance*/, LPCWSTR name) {
    WIN32_MAY_FAIL("LoadCursorW", nullptr);
    // The desktop's own cursors, which need no loading, are known by their numbers.
    return reinterpret_cast<HCURSOR>(reinterpret_cast<ULONG_PTR>(name));
}

BOOL WINAPI EnumWindows(WNDENUMPROC callback, LPARAM parameter) {
    WIN32_MAY_FAIL("EnumWindows", FALSE);
    std::vector<HWND> windows = win32::foreignWindows();
    {
        const std::lock_guard lock(model().mutex);
        for (const auto& [handle, window] : model().windows) {
            if (window.isTopLevel()) {
                windows.push_back(handle);
            }
        }
    }
    return std::all_of(windows.begin(), windows.end(),
                       [&](HWND window) { return callback(window, parameter) != FALSE; });
}

int WINAPI GetClassNameW(HWND window, LPWSTR buffer, int size) {
    WIN32_MAY_FAIL("GetClassNameW", 0);
    return win32::copyText(win32::classNameOf(window), buffer, size);
}

int WINAPI GetClassNameA(HWND window, LPSTR buffer, int size) {
    WIN32_MAY_FAIL("GetClassNameA", 0);
    return win32::copyText(win32::toBytes(win32::classNameOf(window)), buffer, size);
}

BOOL WINAPI IsWindow(HWND window) {
    const DWORD before = GetLastError();
    const bool exists = !win32::classNameOf(window).empty();
    SetLastError(exists ? before : ERROR_INVALID_WINDOW_HANDLE);
    return exists;
}
