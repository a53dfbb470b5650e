#include "linux/windows/window_signals.h"

#include <csignal>

#include <atomic>

namespace win32 {

namespace {

std::atomic<int> topLevelWindows = 0;
std::atomic<bool> closeRequested = false;
std::atomic<bool> isPending = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void onSignal(int number) {
    if (topLevelWindows.load() > 0 && !closeRequested.exchange(true)) {
        isPending = true;
        return;
    }
    // Blocked while this runs; takes effect at the return.
    signal(number, SIG_DFL);
    raise(number);
}

bool installHandlers() {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {
            struct sigaction action {};
            action.sa_handler = onSignal;
            action.sa_flags = SA_RESTART;
            sigaction(number, &action, nullptr);
        }
    }
    return true;
}

}  // namespace

void countTopLevelWindow(int change) {
    topLevelWindows += change;
    [[maybe_unused]] static const bool installed = installHandlers();
}

bool takeCloseRequest() { return isPending.load(std::memory_order_relaxed) && isPending.exchange(false); }

}  // namespace win32
