#include "linux/windows/notify_icon.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "linux/windows/presenter.h"
#include "linux/windows/window_model.h"

namespace win32 {

namespace {

struct NotifyIcon {
    HWND window = nullptr;
    UINT id = 0;
    UINT callbackMessage = 0;
    std::optional<GUID> guid;
    ShownIcon shown;
};

thread_local std::optional<NotifyIcon> notifyIcon;

template <std::size_t size>
std::u16string_view textOf(const WCHAR (&field)[size]) {
    return {field, static_cast<std::size_t>(std::find(field, field + size, 0) - field)};
}

bool isSame(const NotifyIcon& icon, bool hasGuid, const GUID& guid, HWND window, UINT id) {
    return hasGuid ? icon.guid && *icon.guid == guid : icon.window == window && icon.id == id;
}

bool isSame(const NotifyIcon& icon, const NOTIFYICONDATAW& data) {
    return isSame(icon, (data.uFlags & NIF_GUID) != 0, data.guidItem, data.hWnd, data.uID);
}

void take(NotifyIcon& icon, const NOTIFYICONDATAW& data) {
    if ((data.uFlags & NIF_MESSAGE) != 0) {
        icon.callbackMessage = data.uCallbackMessage;
    }
    if ((data.uFlags & NIF_ICON) != 0) {
        icon.shown.picture = findIcon(data.hIcon);
    }
    if ((data.uFlags & NIF_TIP) != 0) {
        icon.shown.tip = toBytes(textOf(data.szTip));
    }
    icon.shown.showsTip = (data.uFlags & NIF_SHOWTIP) != 0;
}

bool failWith(DWORD code) {
    SetLastError(code);
    return false;
}

bool isTrayThere() { return presenter().hasTray() || failWith(ERROR_TIMEOUT); }

bool add(const NOTIFYICONDATAW& data) {
    if (!IsWindow(data.hWnd) || !isTrayThere()) {
        return false;
    }
    if (notifyIcon && isSame(*notifyIcon, data)) {
        return failWith(static_cast<DWORD>(E_FAIL));
    }
    NotifyIcon icon;
    icon.window = data.hWnd;
    icon.id = data.uID;
    if ((data.uFlags & NIF_GUID) != 0) {
        icon.guid = data.guidItem;
    }
    take(icon, data);
    notifyIcon = std::move(icon);
    presenter().showIcon(notifyIcon->shown);
    // Gets the icon to the panel before whatever else the program does at its start.
    presenter().pump();
    return presenter().hasPanel() || failWith(ERROR_TIMEOUT);
}

bool modify(const NOTIFYICONDATAW& data) {
    if (!isTrayThere()) {
        return false;
    }
    if (!notifyIcon || !isSame(*notifyIcon, data)) {
        return failWith(static_cast<DWORD>(E_FAIL));
    }
    take(*notifyIcon, data);
    if ((data.uFlags & (NIF_ICON | NIF_TIP)) != 0) {
        presenter().showIcon(notifyIcon->shown);
    }
    if ((data.uFlags & NIF_INFO) != 0) {
        presenter().showBalloon(toBytes(textOf(data.szInfoTitle)), toBytes(textOf(data.szInfo)));
    }
    return true;
}

bool isNotThere(const NOTIFYICONDATAW& data) { return !notifyIcon || !isSame(*notifyIcon, data); }

bool remove(const NOTIFYICONDATAW& data) {
    if (isNotThere(data)) {
        return failWith(static_cast<DWORD>(E_FAIL));
    }
    notifyIcon.reset();
    presenter().removeIcon();
    return true;
}

[[maybe_unused]] std::string description(DWORD message, const NOTIFYICONDATAW& data) {
    const std::string text = std::to_string(message);
    if (message == NIM_ADD) {
        return text + "|" + std::to_string(data.uID) + "|" + toBytes(textOf(data.szTip));
    }
    const bool isBalloon = message == NIM_MODIFY && (data.uFlags & NIF_INFO) != 0;
    return isBalloon ? text + "|" + toBytes(textOf(data.szInfoTitle)) + "|" + toBytes(textOf(data.szInfo)) : text;
}

}  // namespace

bool postIconEvent(UINT event, const POINT& point) {
    if (!notifyIcon) {
        return false;
    }
    const auto position = static_cast<DWORD>(MAKELONG(point.x, point.y));
    return PostMessageW(notifyIcon->window, notifyIcon->callbackMessage, position, MAKELONG(event, notifyIcon->id)) !=
           FALSE;
}

void postIconCommand(UINT id) {
    if (notifyIcon) {
        PostMessageW(notifyIcon->window, WM_COMMAND, LOWORD(id), 0);
    }
}

bool isIconEventWaiting(UINT event) {
    if (!notifyIcon) {
        return false;
    }
    const auto& queue = threadQueue();
    const std::lock_guard lock(model().mutex);
    return std::any_of(queue->posted.begin(), queue->posted.end(), [&](const MSG& message) {
        return message.hwnd == notifyIcon->window && message.message == notifyIcon->callbackMessage &&
               LOWORD(message.lParam) == event;
    });
}

void announceTaskbar() {
    if (notifyIcon) {
        notifyIcon.reset();
        presenter().removeIcon();
    }
    postToTopLevelWindows(RegisterWindowMessageW(u"TaskbarCreated"), 0, 0);
}

}  // namespace win32

BOOL WINAPI Shell_NotifyIconW(DWORD message, PNOTIFYICONDATAW data) {
    if (data == nullptr || data->cbSize != sizeof(NOTIFYICONDATAW)) {
        return win32::failWith(ERROR_INVALID_PARAMETER);
    }
    WIN32_RECORD("Shell_NotifyIconW", win32::description(message, *data));
    WIN32_MAY_FAIL("Shell_NotifyIconW", FALSE);
    switch (message) {
        case NIM_ADD:
            return win32::add(*data);
        case NIM_MODIFY:
            return win32::modify(*data);
        case NIM_DELETE:
            return win32::remove(*data);
        case NIM_SETVERSION:
            return !win32::isNotThere(*data) && data->uVersion == NOTIFYICON_VERSION_4
                       ? TRUE
                       : win32::failWith(static_cast<DWORD>(E_FAIL));
        default:
            return win32::failWith(ERROR_INVALID_PARAMETER);
    }
}

HRESULT WINAPI Shell_NotifyIconGetRect(const NOTIFYICONIDENTIFIER* identifier, RECT* rectangle) {
    WIN32_MAY_RETURN("Shell_NotifyIconGetRect", HRESULT);
    if (identifier == nullptr || rectangle == nullptr || identifier->cbSize != sizeof(NOTIFYICONIDENTIFIER)) {
        return E_INVALIDARG;
    }
    const bool hasGuid = !(identifier->guidItem == GUID{});
    const auto known = win32::presenter().iconRectangle();
    if (!known || !win32::notifyIcon ||
        !win32::isSame(*win32::notifyIcon, hasGuid, identifier->guidItem, identifier->hWnd, identifier->uID)) {
        return E_FAIL;
    }
    *rectangle = *known;
    return S_OK;
}
