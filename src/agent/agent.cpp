#include "agent/agent.h"

#include <stdexcept>

#include "agent/logo.h"
#include "base/log.h"

namespace agent {

bool agentExitRequested = false;
bool applicationRestartPending = false;

namespace {

constexpr COLORREF white = 0xFFFFFF;

}  // namespace

std::shared_ptr<ZelmoDocksetAgent> ZelmoDocksetAgent::create() {
    std::shared_ptr<ZelmoDocksetAgent> agent(new ZelmoDocksetAgent);
    agent->selfReference_ = agent;
    return agent;
}

ZelmoDocksetAgent::ZelmoDocksetAgent() : whiteBrush_(CreateSolidBrush(white)) {}

ZelmoDocksetAgent::~ZelmoDocksetAgent() {
    if (!isIconDeleted_ && Shell_NotifyIconW(NIM_DELETE, &notifyIcon_) == FALSE) {
        base::logLine("Shell_NotifyIcon(NIM_DELETE) failed.");
    }
    DeleteObject(whiteBrush_);
    messages_.reset();
    updateHandler_.reset();
    launcher_.reset();
    menu_.reset();
}

bool ZelmoDocksetAgent::init(HINSTANCE instance) {
    instance_ = instance;
    if (!createWindow()) {
        base::logLine("CreateWindowW failed.");
        base::logLine("Failed to initialize instance.");
        return false;
    }
    base::logLine("Loading messages");
    messages_ = std::make_shared<Messages>();
    loadLocalizedMessages(*messages_);
    taskbarCreatedMessage_ = RegisterWindowMessageW(W("TaskbarCreated"));
    if (!addNotifyIcon()) {
        base::logLine("Failed to initialize notifications at startup. Ignored.");
    }
    if (!createMenu()) {
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
                              logoWidth, logoHeight, nullptr, nullptr, instance_, this);
    return window_ != nullptr;
}

bool ZelmoDocksetAgent::createMenu() {
    try {
        menu_ = std::make_unique<ShortcutMenu>(messages_);
        return true;
    } catch (const std::runtime_error& error) {
        base::logLine("Failed to create shortcut menu, ", std::string(error.what()));
        return false;
    }
}

LRESULT CALLBACK ZelmoDocksetAgent::staticWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* agent = reinterpret_cast<ZelmoDocksetAgent*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_CREATE && agent == nullptr) {
        const auto* const creation = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        agent = static_cast<ZelmoDocksetAgent*>(creation->lpCreateParams);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(agent));
    }
    return agent == nullptr ? DefWindowProcW(window, message, wParam, lParam)
                            : agent->windowProc(window, message, wParam, lParam);
}

LRESULT ZelmoDocksetAgent::windowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CREATE:
            onCreate(window);
            return 0;
        case WM_DESTROY:
            onDestroy();
            return 0;
        case WM_ACTIVATE:
            onActivate(window, wParam);
            return 0;
        case WM_PAINT: {
            PAINTSTRUCT paint{};
            BeginPaint(window, &paint);
            EndPaint(window, &paint);
            return 0;
        }
        case WM_DRAWITEM:
            onDrawItem(*reinterpret_cast<const DRAWITEMSTRUCT*>(lParam));
            return 0;
        case WM_COMMAND:
            return onCommand(window, LOWORD(wParam)) ? 0 : DefWindowProcW(window, message, wParam, lParam);
        case WM_TIMER:
            onTimer(window, wParam);
            return 0;
        case WM_CTLCOLORSTATIC:
            SetBkColor(reinterpret_cast<HDC>(wParam), white);
            return reinterpret_cast<LRESULT>(whiteBrush_);
        case AGENT_MSG_NOTIFY_ICON:
            onNotifyIcon(window, wParam, lParam);
            return 0;
        case AGENT_MSG_UPDATE_AVAILABLE:
            onUpdateAvailable();
            return 0;
        case AGENT_MSG_UPDATE_DOWNLOADED:
            onUpdateDownloaded();
            return 0;
        case AGENT_MSG_RESERVED:
            return 0;
        case AGENT_MSG_RESTART_APPLICATION:
            applicationRestartPending = true;
            return 0;
        default:
            if (message == taskbarCreatedMessage_ && message != WM_NULL) {
                base::logLine("taskbar restart");
                addNotifyIcon();
            }
            return DefWindowProcW(window, message, wParam, lParam);
    }
}

void ZelmoDocksetAgent::onCreate(HWND window) {
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&gdiplusToken_, &input, nullptr);
    base::logLine("Loading images");
    logoBitmap_ = loadLogo();
    if (logoBitmap_ == nullptr) {
        return;
    }
    base::logLine("Creating controls");
    logoControl_ = CreateWindowExW(0, W("Static"), W(""), WS_CHILD | WS_VISIBLE | SS_OWNERDRAW, 0, 0, logoWidth,
                                   logoHeight, window, nullptr, instance_, nullptr);
    if (logoControl_ == nullptr) {
        base::logLine("Failed to create logo control\n");
    }
}

void ZelmoDocksetAgent::onDestroy() {
    // The system lets the icon of a window that is gone stay until the pointer comes over it.
    isIconDeleted_ = Shell_NotifyIconW(NIM_DELETE, &notifyIcon_) != FALSE;
    window_ = nullptr;
    Gdiplus::GdiplusShutdown(gdiplusToken_);
    PostQuitMessage(0);
    agentExitRequested = true;
}

void ZelmoDocksetAgent::onActivate(HWND window, WPARAM wParam) {
    if (LOWORD(wParam) == WA_INACTIVE) {
        ShowWindow(window, SW_HIDE);
        SetTimer(window, AGENT_TIMER_POPUP_REARM, GetDoubleClickTime(), nullptr);
        popupArmed_ = false;
    }
}

void ZelmoDocksetAgent::onTimer(HWND window, WPARAM wParam) {
    if (wParam == AGENT_TIMER_POPUP_REARM) {
        KillTimer(window, AGENT_TIMER_POPUP_REARM);
        popupArmed_ = true;
    } else if (wParam == AGENT_TIMER_UPDATE_CHECK) {
        onUpdateTimer(window);
    }
}

void ZelmoDocksetAgent::onDrawItem(const DRAWITEMSTRUCT& item) const {
    if (item.hwndItem == logoControl_) {
        drawLogo(item, logoBitmap_);
    }
}

}  // namespace agent
