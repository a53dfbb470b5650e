// The messages that other processes post to the agent's window: none but those that say so end it.
#include <array>
#include <memory>

#include "agent/agent.h"
#include "fuzz.h"
#include "temp_session.h"

namespace {

// What a window's procedure heeds, which plain bytes would seldom hit.
constexpr std::array<UINT, 16> heeded{
    WM_DESTROY,     WM_CLOSE, WM_ACTIVATE, WM_PAINT,    WM_COMMAND,  WM_TIMER,    WM_CTLCOLORSTATIC,
    WM_CONTEXTMENU, WM_USER,  WM_USER,     WM_USER + 1, WM_USER + 2, WM_USER + 3, base::agentRestartMessage,
    WM_NCDESTROY,   WM_QUIT};

// Small numbers, the identifiers of the icon's event, or any.
std::uint64_t parameter(fuzz::Parts& parts) {
    constexpr std::array<UINT, 4> events{WM_CONTEXTMENU, WM_LBUTTONDBLCLK, NIN_SELECT, NIN_BALLOONUSERCLICK};
    const std::uint8_t kind = parts.byte();
    if (kind < 128) {
        return kind % 16;
    }
    if (kind < 192) {
        return static_cast<std::uint32_t>(MAKELONG(events[kind % events.size()], 101));
    }
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
        value = value << 8U | parts.byte();
    }
    return value;
}

UINT message(fuzz::Parts& parts) {
    static const UINT taskbarCreated = RegisterWindowMessageW(W("TaskbarCreated"));
    const std::uint8_t kind = parts.byte();
    return kind < 128 ? heeded[kind % heeded.size()] : kind < 136 ? taskbarCreated : (kind & 15U) << 8U | parts.byte();
}

HWND agentWindow() {
    HWND found = nullptr;
    const auto take = [](HWND window, LPARAM place) -> BOOL {
        *reinterpret_cast<HWND*>(place) = window;
        return FALSE;
    };
    EnumWindows(take, reinterpret_cast<LPARAM>(&found));
    return found;
}

void takeMessages() {
    MSG next{};
    while (PeekMessageW(&next, nullptr, 0, 0, PM_REMOVE) != FALSE) {
        DispatchMessageW(&next);
    }
}

}  // namespace

FUZZ_TARGET(agent_messages) {
    static const tests::TempSession session;
    win32::script::reset();  // of what it keeps of the calls
    win32::script::pretendDesktop({{{0, 0, 800, 600}, {0, 0, 800, 570}}});
    agent::agentExitRequested = agent::applicationRestartPending = false;
    const auto agent = agent::ZelmoDocksetAgent::create();
    fuzz::require(agent->init(GetModuleHandleW(nullptr)), "the agent starts");
    const HWND window = agentWindow();
    bool isEnded = false;
    bool isRestarted = false;
    for (fuzz::Parts parts(input); !parts.empty() && !isEnded;) {
        const UINT posted = message(parts);
        const std::uint64_t wParam = parameter(parts);
        PostMessageW(window, posted, wParam, static_cast<LPARAM>(parameter(parts)));
        takeMessages();
        isEnded = posted == WM_DESTROY || posted == WM_CLOSE || (posted == WM_COMMAND && LOWORD(wParam) == 0);
        isRestarted = isRestarted || posted == base::agentRestartMessage;
    }
    fuzz::require(agent::agentExitRequested == isEnded, "only what says so ends the agent");
    fuzz::require(isEnded || IsWindow(window) != FALSE, "its window stays");
    fuzz::require(agent::applicationRestartPending == isRestarted, "a restart is remembered");
    if (IsWindow(window) != FALSE) {
        DestroyWindow(window);
    }
    takeMessages();
}
