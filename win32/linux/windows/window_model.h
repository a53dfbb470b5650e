// The process's windows, classes and message queues: what the operations of win32/window.h work on, and what a
// presenter reads to show them.
//
// Everything here is guarded by Model::mutex, which is never held while a window procedure or a callback runs.
// A presenter looks under the lock, and puts events in with PostMessageW like anybody else.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "linux/drawing/surface.h"
#include "linux/windows/window_link.h"
#include "win32/window.h"

namespace win32 {

constexpr std::size_t postedMessagesAtMost = 10'000;

struct WindowClass {
    std::u16string name;  // as registered
    ATOM atom = 0;
    WNDCLASSEXW details{};  // without its texts
};

struct Timer {
    HWND window = nullptr;
    UINT_PTR id = 0;
    std::chrono::milliseconds period{};
    std::chrono::steady_clock::time_point next;
    TIMERPROC callback = nullptr;
};

// What waits for one thread.
struct MessageQueue {
    std::deque<MSG> posted;
    std::vector<Timer> timers;
    bool hasQuit = false;
    bool mayPaint = false;  // whether a window may have something to draw
    int exitCode = 0;
};

struct Window {
    std::shared_ptr<const WindowClass> windowClass;
    std::shared_ptr<MessageQueue> queue;  // of the thread that made it
    WNDPROC procedure = nullptr;
    LONG_PTR userData = 0;
    WideString title;
    DWORD style = 0;
    DWORD extendedStyle = 0;
    RECT bounds{};  // on the screen, or in the parent
    HWND parent = nullptr;
    HMENU menu = nullptr;  // or a child's id
    HINSTANCE instance = nullptr;
    bool isDying = false;
    bool isInvalid = false;  // to be drawn

    // Of a visible top-level window, with all of its children; only its own thread touches it.
    std::shared_ptr<cairo_surface_t> picture;

    bool isTopLevel() const { return (style & WS_CHILD) == 0; }
    bool isShown() const { return (style & WS_VISIBLE) != 0; }
    LONG width() const { return bounds.right - bounds.left; }
    LONG height() const { return bounds.bottom - bounds.top; }
};

struct Model {
    std::mutex mutex;
    std::map<std::u16string, std::shared_ptr<const WindowClass>> classes;  // by the name in lower case
    std::map<HWND, Window> windows;
    HWND active = nullptr;  // has the desktop's activation
    WindowLink link;        // open while there is a top-level window
    unsigned lastIndex = 0;
};

// The process's one model; never destroyed.
Model& model();

// The window, or null with ERROR_INVALID_WINDOW_HANDLE. The model is locked.
Window* findWindow(HWND window);

// Takes a window that has had its last message out of the model. The model is locked.
void removeWindow(HWND window);

// The windows inside of a window. The model is not locked.
std::vector<HWND> childrenOf(HWND window);

// Posts to all of the process's top-level windows, however full their queues are. The model is not locked.
void postToTopLevelWindows(UINT message, WPARAM wParam, LPARAM lParam);

// The calling thread's queue; its windows go when the thread ends. The model is not locked.
const std::shared_ptr<MessageQueue>& threadQueue();

// Appends to a queue; false with ERROR_NOT_ENOUGH_QUOTA if it is full. The model is locked.
bool enqueue(MessageQueue& queue, HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// Calls the window's procedure on this thread; 0 with the last error set if it isn't this thread's window.
LRESULT callWindow(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

}  // namespace win32
