// Shows 10,000 balloons and opens the popup 10,000 times on the desktop that it is started on, and prints what memory
// (kB of RSS) and descriptors the process had after the first thousand and at the end: two lines of four numbers. A
// third line tells the microseconds of a look at an empty message queue, one look after the other.

#include <unistd.h>

#include <boost/filesystem.hpp>
#include <chrono>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>

#include "win32/drawing.h"
#include "win32/kernel.h"
#include "win32/notify_icon.h"
#include "win32/window.h"

namespace {

constexpr int warmUp = 1'000;
constexpr int times = 10'000;

LRESULT CALLBACK windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(window, message, wParam, lParam);
}

void pump() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        DispatchMessageW(&message);
    }
}

long residentKilobytes() {
    long pages = 0;
    std::ifstream statm("/proc/self/statm");
    statm >> pages >> pages;
    return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

long descriptors() {
    return std::distance(boost::filesystem::directory_iterator("/proc/self/fd"),
                         boost::filesystem::directory_iterator());
}

void measure(const std::function<void()>& act) {
    for (int i = 0; i < warmUp; ++i) {
        act();
    }
    std::cout << residentKilobytes() << ' ' << descriptors() << ' ';
    for (int i = warmUp; i < times; ++i) {
        act();
    }
    std::cout << residentKilobytes() << ' ' << descriptors() << '\n';
}

}  // namespace

int main() {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.lpfnWndProc = windowProc;
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(static_cast<LONG_PTR>(COLOR_WINDOW + 1));
    windowClass.lpszClassName = W("Growth");
    RegisterClassExW(&windowClass);
    HWND window = CreateWindowExW(WS_EX_TOOLWINDOW, W("Growth"), W("Growth"), WS_POPUP, 0, 0, 348, 287, nullptr,
                                  nullptr, nullptr, nullptr);
    NOTIFYICONDATAW icon{};
    icon.cbSize = sizeof icon;
    icon.hWnd = window;
    icon.uID = 1;
    icon.uFlags = NIF_MESSAGE | NIF_TIP;
    icon.uCallbackMessage = WM_USER;
    if (Shell_NotifyIconW(NIM_ADD, &icon) == FALSE) {
        std::cerr << "no desktop, " << GetLastError() << '\n';
        return 1;
    }
    icon.uFlags = NIF_INFO;
    icon.szInfoTitle[0] = W('t');
    icon.szInfo[0] = W('x');
    measure([&] {
        Shell_NotifyIconW(NIM_MODIFY, &icon);
        pump();
    });
    measure([&] {
        SetWindowPos(window, HWND_TOPMOST, 100, 100, 0, 0, SWP_NOSIZE | SWP_SHOWWINDOW);
        SetForegroundWindow(window);
        UpdateWindow(window);
        pump();
        ShowWindow(window, SW_HIDE);
        pump();
    });
    constexpr int looks = 200'000;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < looks; ++i) {
        pump();
    }
    const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - begin;
    std::cout << taken.count() / looks << '\n';
    Shell_NotifyIconW(NIM_DELETE, &icon);
    return 0;
}
