// A window of a test's own, and its messages.
#pragma once

#include <vector>

#include "win32/window.h"

struct TestWindow {
    LPCWSTR className;
    WNDPROC procedure;
    DWORD style = WS_POPUP;
    RECT place{0, 0, 1, 1};
    HWND parent = nullptr;
    LPVOID parameter = nullptr;
    LPCWSTR title = W("");
};

// The class is registered the first time.
inline HWND create(const TestWindow& window) {
    WNDCLASSEXW details{};
    details.cbSize = sizeof(details);
    details.lpfnWndProc = window.procedure;
    details.lpszClassName = window.className;
    RegisterClassExW(&details);
    const RECT& place = window.place;
    return CreateWindowExW(WS_EX_TOOLWINDOW, window.className, window.title, window.style, place.left, place.top,
                           place.right - place.left, place.bottom - place.top, window.parent, nullptr, nullptr,
                           window.parameter);
}

// Peeks and dispatches until there is nothing; the messages in their order.
inline std::vector<MSG> pump() {
    std::vector<MSG> messages;
    for (MSG message{}; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);) {
        messages.push_back(message);
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return messages;
}
