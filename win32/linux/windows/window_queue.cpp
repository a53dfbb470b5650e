#include <unistd.h>

#include <algorithm>
#include <utility>

#include "linux/support/scripted.h"
#include "linux/windows/pointer_messages.h"
#include "linux/windows/presenter.h"
#include "linux/windows/window_model.h"
#include "linux/windows/window_paint.h"
#include "linux/windows/window_signals.h"
#include "win32/window.h"

namespace win32 {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr UINT shortestTimer = 10;
constexpr UINT longestTimer = 0x7FFFFFFF;

// A thread's queue, which takes the thread's windows with it.
struct ThreadEnd {
    std::shared_ptr<MessageQueue> queue = std::make_shared<MessageQueue>();
    ~ThreadEnd() {
        const std::lock_guard lock(model().mutex);
        std::vector<HWND> left;
        for (const auto& [handle, window] : model().windows) {
            if (window.queue == queue) {
                left.push_back(handle);
            }
        }
        std::for_each(left.begin(), left.end(), removeWindow);
    }
};

DWORD ticks() {
    return static_cast<DWORD>(std::chrono::duration_cast<milliseconds>(Clock::now().time_since_epoch()).count());
}

MSG makeMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    return {window, message, wParam, lParam, ticks(), {}};
}

// Takes in what other processes have posted, unless this thread has enough: they then wait in their turn.
void receivePosts(const MessageQueue& own) {
    while (own.posted.size() < postedMessagesAtMost) {
        const auto packet = model().link.receive();
        if (!packet) {
            return;
        }
        auto* const handle = reinterpret_cast<HWND>(static_cast<ULONG_PTR>(packet->window));
        const auto found = model().windows.find(handle);
        // Whoever sent it need not have gone by PostMessageW.
        if (found != model().windows.end() && !carriesPointer(packet->message)) {
            enqueue(*found->second.queue, handle, packet->message, packet->wParam, packet->lParam);
        }
    }
}

bool takePosted(MessageQueue& queue, MSG& message, bool remove) {
    if (queue.posted.empty()) {
        return false;
    }
    message = queue.posted.front();
    if (remove) {
        queue.posted.pop_front();
    }
    return true;
}

bool takeQuit(MessageQueue& queue, MSG& message, bool remove) {
    if (!queue.hasQuit) {
        return false;
    }
    message = makeMessage(nullptr, WM_QUIT, static_cast<WPARAM>(queue.exitCode), 0);
    queue.hasQuit = !remove;
    return true;
}

bool takePaint(MessageQueue& queue, MSG& message) {
    if (!queue.mayPaint) {
        return false;
    }
    const HWND window = windowToPaint(queue);
    message = makeMessage(window, WM_PAINT, 0, 0);
    queue.mayPaint = window != nullptr;
    return queue.mayPaint;
}

bool takeTimer(MessageQueue& queue, MSG& message, bool remove) {
    const auto timer = std::min_element(queue.timers.begin(), queue.timers.end(),
                                        [](const Timer& a, const Timer& b) { return a.next < b.next; });
    if (timer == queue.timers.end()) {
        return false;
    }
    const auto now = Clock::now();
    if (timer->next > now) {
        return false;
    }
    message = makeMessage(timer->window, WM_TIMER, timer->id, reinterpret_cast<LPARAM>(timer->callback));
    if (remove) {
        timer->next = now + timer->period;
    }
    return true;
}

// The window's queue if it is the calling thread's; else null with the last error set. The model is locked.
MessageQueue* ownQueueOf(HWND window, const std::shared_ptr<MessageQueue>& own) {
    const Window* const found = findWindow(window);
    if (found != nullptr && found->queue != own) {
        SetLastError(ERROR_ACCESS_DENIED);
    }
    return found != nullptr && found->queue == own ? own.get() : nullptr;
}

// Whether a timer of this thread has the callback: a posted WM_TIMER may name any address.
bool isSet(TIMERPROC callback) {
    const auto& own = threadQueue();
    const std::lock_guard lock(model().mutex);
    return std::any_of(own->timers.begin(), own->timers.end(),
                       [&](const Timer& each) { return each.callback == callback; });
}

bool eraseTimer(MessageQueue& queue, HWND window, UINT_PTR id) {
    return std::erase_if(queue.timers, [&](const Timer& each) { return each.window == window && each.id == id; }) > 0;
}

}  // namespace

const std::shared_ptr<MessageQueue>& threadQueue() {
    thread_local ThreadEnd end;
    return end.queue;
}

bool enqueue(MessageQueue& queue, HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (queue.posted.size() >= postedMessagesAtMost) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return false;
    }
    queue.posted.push_back(makeMessage(window, message, wParam, lParam));
    return true;
}

void postToTopLevelWindows(UINT message, WPARAM wParam, LPARAM lParam) {
    const std::lock_guard lock(model().mutex);
    for (const auto& [handle, window] : model().windows) {
        if (window.isTopLevel()) {
            window.queue->posted.push_back(makeMessage(handle, message, wParam, lParam));
        }
    }
}

}  // namespace win32

using win32::model;

BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    WIN32_MAY_FAIL("PostMessageW", FALSE);
    if (win32::carriesPointer(message)) {
        SetLastError(ERROR_MESSAGE_SYNC_ONLY);
        return FALSE;
    }
    if (window != nullptr && win32::processOf(window) != getpid()) {
        WIN32_RECORD("PostMessageW",
                     std::to_string(message) + "|" + std::to_string(wParam) + "|" + std::to_string(lParam));
        return win32::postToForeign(window, message, wParam, lParam);
    }
    const auto& own = win32::threadQueue();
    const std::lock_guard lock(model().mutex);
    const win32::Window* const target = window == nullptr ? nullptr : win32::findWindow(window);
    if (window != nullptr && target == nullptr) {
        return FALSE;
    }
    return win32::enqueue(target == nullptr ? *own : *target->queue, window, message, wParam, lParam);
}

LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    WIN32_MAY_FAIL("SendMessageW", 0);
    return win32::callWindow(window, message, wParam, lParam);
}

BOOL WINAPI PeekMessageW(LPMSG message, HWND window, UINT first, UINT last, UINT flags) {
    WIN32_MAY_FAIL("PeekMessageW", FALSE);
    if (window != nullptr || first != 0 || last != 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    win32::MessageQueue& queue = *win32::threadQueue();
    const bool remove = (flags & PM_REMOVE) != 0;
    win32::presenter().pump();
    if (win32::takeCloseRequest()) {
        win32::postToTopLevelWindows(WM_CLOSE, 0, 0);
    }
    const std::lock_guard lock(model().mutex);
    win32::receivePosts(queue);
    return win32::takePosted(queue, *message, remove) || win32::takeQuit(queue, *message, remove) ||
           win32::takePaint(queue, *message) || win32::takeTimer(queue, *message, remove);
}

BOOL WINAPI TranslateMessage(const MSG* /*message*/) {
    return FALSE;  // there are no key strokes to make characters of
}

LRESULT WINAPI DispatchMessageW(const MSG* message) {
    if (message->message == WM_TIMER && message->lParam != 0) {
        auto* const callback = reinterpret_cast<TIMERPROC>(message->lParam);
        if (win32::isSet(callback)) {
            callback(message->hwnd, WM_TIMER, message->wParam, message->time);
        }
        return 0;
    }
    return message->hwnd == nullptr
               ? 0
               : win32::callWindow(message->hwnd, message->message, message->wParam, message->lParam);
}

void WINAPI PostQuitMessage(int exitCode) {
    win32::MessageQueue& queue = *win32::threadQueue();
    const std::lock_guard lock(model().mutex);
    queue.hasQuit = true;
    queue.exitCode = exitCode;
}

UINT_PTR WINAPI SetTimer(HWND window, UINT_PTR id, UINT period, TIMERPROC callback) {
    WIN32_MAY_FAIL("SetTimer", 0);
    const auto& own = win32::threadQueue();
    const std::lock_guard lock(model().mutex);
    win32::MessageQueue* const queue = win32::ownQueueOf(window, own);
    if (queue == nullptr) {
        return 0;
    }
    win32::eraseTimer(*queue, window, id);
    const win32::milliseconds step(std::clamp(period, win32::shortestTimer, win32::longestTimer));
    queue->timers.push_back({window, id, step, win32::Clock::now() + step, callback});
    return id == 0 ? 1 : id;
}

BOOL WINAPI KillTimer(HWND window, UINT_PTR id) {
    WIN32_MAY_FAIL("KillTimer", FALSE);
    const auto& own = win32::threadQueue();
    const std::lock_guard lock(model().mutex);
    win32::MessageQueue* const queue = win32::ownQueueOf(window, own);
    if (queue != nullptr && !win32::eraseTimer(*queue, window, id)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return queue != nullptr;
}
