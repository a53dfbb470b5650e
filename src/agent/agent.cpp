#include "agent/agent.h"

#include "agent/log.h"
#include "base/object_names.h"

namespace agent {

bool agentExitRequested = false;
bool applicationRestartPending = false;

namespace {

// The size of the logo that the window shows.
constexpr int windowWidth = 348;
constexpr int windowHeight = 287;

}  // namespace

std::shared_ptr<ZelmoDocksetAgent> ZelmoDocksetAgent::create() {
    std::shared_ptr<ZelmoDocksetAgent> agent(new ZelmoDocksetAgent);
    agent->selfReference_ = agent;
    return agent;
}

bool ZelmoDocksetAgent::init(HINSTANCE instance) {
    instance_ = instance;
    if (!createWindow()) {
        logLine("CreateWindowW failed.");
        logLine("Failed to initialize instance.");
        return false;
    }
    launcher_ = std::make_shared<base::LauncherWin>();
    return true;
}

bool ZelmoDocksetAgent::createWindow() {
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = staticWindowProc;
    windowClass.hInstance = instance_;
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(static_cast<LONG_PTR>(COLOR_WINDOW + 1));
    windowClass.lpszClassName = base::agentWindowClass;
    RegisterClassExW(&windowClass);
    window_ = CreateWindowExW(WS_EX_TOOLWINDOW, base::agentWindowClass, W("Zelmo Dockset Agent"), WS_POPUP, 0, 0,
                              windowWidth, windowHeight, nullptr, nullptr, instance_, this);
    return window_ != nullptr;
}

LRESULT CALLBACK ZelmoDocksetAgent::staticWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CREATE) {
        const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(creation->lpCreateParams));
    }
    auto* const agent = reinterpret_cast<ZelmoDocksetAgent*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return agent == nullptr ? DefWindowProcW(window, message, wParam, lParam)
                            : agent->windowProc(window, message, wParam, lParam);
}

LRESULT ZelmoDocksetAgent::windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CREATE:
        case AGENT_MSG_RESERVED:
            return 0;
        case WM_DESTROY:
            window_ = nullptr;
            PostQuitMessage(0);
            agentExitRequested = true;
            return 0;
        case AGENT_MSG_RESTART_APPLICATION:
            applicationRestartPending = true;
            return 0;
        default:
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

}  // namespace agent
