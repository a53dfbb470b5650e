// The agent's icon in the notification area: adding it, its balloons, its events, and the popup beside it.

#include <algorithm>
#include <iterator>

#include "agent/agent.h"
#include "agent/logo.h"
#include "base/log.h"
#include "base/log_receiver.h"
#include "base/number.h"
#include "win32/identifier.h"
#include "win32/resource.h"

namespace agent {

namespace {

constexpr UINT iconId = 101;
constexpr LONG popupDistance = 8;

// Copies with the end mark; false, with nothing copied, if the field is too small.
template <std::size_t size>
bool copyText(WCHAR (&field)[size], const WideString& text) {
    if (text.size() >= size) {
        return false;
    }
    *std::copy(text.begin(), text.end(), std::begin(field)) = 0;
    return true;
}

// The packaged icon in the size of the notification area. `ownsIt` is false for the desktop's icon that stands in for
// it, which is shared.
HICON loadIcon(HINSTANCE instance, bool& ownsIt) {
    const int size = GetSystemMetrics(SM_CXSMICON);
    HANDLE icon = LoadImageW(instance, MAKEINTRESOURCEW(iconId), IMAGE_ICON, size, size, 0);
    ownsIt = icon != nullptr;
    if (icon == nullptr) {
        base::logLine("LoadImage failed.");
        return LoadIconW(nullptr, IDI_APPLICATION);
    }
    return static_cast<HICON>(icon);
}

void updateShellIcon(NOTIFYICONDATAW& icon) {
    if (Shell_NotifyIconW(NIM_ADD, &icon) == FALSE) {
        base::logLine("Shell_NotifyIcon(NIM_ADD) failed with ", GetLastError(), ".");
    } else if (Shell_NotifyIconW(NIM_SETVERSION, &icon) == FALSE) {
        base::logLine("Shell_NotifyIcon(NIM_SETVERSION) failed.");
    }
}

bool failPopup(const char* text) {
    base::logMessage("agent", text);
    return false;
}

}  // namespace

bool ZelmoDocksetAgent::addNotifyIcon() {
    notifyIcon_.cbSize = sizeof notifyIcon_;
    notifyIcon_.hWnd = window_;
    notifyIcon_.uID = iconId;
    notifyIcon_.uVersion = NOTIFYICON_VERSION_4;
    notifyIcon_.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP | NIF_GUID | NIF_SHOWTIP;
    notifyIcon_.uCallbackMessage = AGENT_MSG_NOTIFY_ICON;
    UuidCreate(&notifyIcon_.guidItem);
    if (!copyText(notifyIcon_.szTip, W("Zelmo Dockset"))) {
        base::logLine("StringCchCopy szTip failed.");
        return false;
    }
    bool ownsIcon = false;
    notifyIcon_.hIcon = loadIcon(instance_, ownsIcon);
    updateShellIcon(notifyIcon_);
    if (ownsIcon) {
        DestroyIcon(notifyIcon_.hIcon);
    }
    return true;
}

void ZelmoDocksetAgent::onNotifyIcon(HWND window, WPARAM wParam, LPARAM lParam) {
    if (HIWORD(lParam) != iconId) {
        return;
    }
    switch (LOWORD(lParam)) {
        case WM_CONTEXTMENU:
            menu_->show(window, LOWORD(wParam), HIWORD(wParam));
            break;
        case WM_LBUTTONDBLCLK:
            launcher_->startMainApplication();
            break;
        case NIN_SELECT:
            showPopup();
            break;
        case NIN_BALLOONUSERCLICK:
            onBalloonClick();
            break;
        default:
            break;
    }
}

bool ZelmoDocksetAgent::showBalloon(const WideString& title, const WideString& text) {
    notifyIcon_.uFlags = NIF_INFO | NIF_GUID | NIF_SHOWTIP;
    notifyIcon_.dwInfoFlags = NIIF_INFO | NIIF_RESPECT_QUIET_TIME;
    if (!copyText(notifyIcon_.szInfoTitle, title)) {
        base::logLine("StringCchCopy szInfoTitle failed");
        return false;
    }
    if (!copyText(notifyIcon_.szInfo, text)) {
        base::logLine("StringCchCopy szInfo failed");
        return false;
    }
    if (Shell_NotifyIconW(NIM_MODIFY, &notifyIcon_) == FALSE) {
        base::logLine("Shell_NotifyIcon(NIM_MODIFY) failed with 0x", base::hexadecimal(GetLastError()));
        return false;
    }
    return true;
}

bool ZelmoDocksetAgent::findPopupPosition(RECT& position) const {
    NOTIFYICONIDENTIFIER identifier{};
    identifier.cbSize = sizeof identifier;
    identifier.guidItem = notifyIcon_.guidItem;
    RECT icon{};
    if (FAILED(Shell_NotifyIconGetRect(&identifier, &icon))) {
        return failPopup("Failed to get icon position");
    }
    RECT around{icon.left - popupDistance, icon.top - popupDistance, icon.right + popupDistance,
                icon.bottom + popupDistance};
    const POINT anchor{(around.left + around.right) / 2, (around.top + around.bottom) / 2};
    RECT current{};
    if (GetWindowRect(window_, &current) == FALSE) {
        return failPopup("Failed to get window rect");
    }
    const SIZE size{logoWidth, logoHeight};
    if (CalculatePopupWindowPosition(&anchor, &size, TPM_WORKAREA | TPM_VERTICAL | TPM_VCENTERALIGN | TPM_CENTERALIGN,
                                     &around, &position) == FALSE) {
        return failPopup("Failed to calculate popup position");
    }
    return true;
}

bool ZelmoDocksetAgent::showPopup() {
    RECT position{};
    if (!popupArmed_ || !findPopupPosition(position)) {
        return false;
    }
    if (SetWindowPos(window_, HWND_TOPMOST, position.left, position.top, 0, 0, SWP_NOSIZE | SWP_SHOWWINDOW) == FALSE) {
        return failPopup("Failed to set popup position");
    }
    if (SetForegroundWindow(window_) == FALSE) {
        return failPopup("Failed set foreground window to popup");
    }
    UpdateWindow(window_);
    return true;
}

}  // namespace agent
