// The icon in the notification area, and its balloons.
//
// Shell_NotifyIconW (recorded: message, then for NIM_ADD the id and the tip, for NIM_MODIFY with NIF_INFO title and
// text): NIM_ADD, NIM_MODIFY, NIM_DELETE and NIM_SETVERSION (version 4 only). An icon is known by guidItem if uFlags
// has NIF_GUID, else by hWnd and uID; NIM_DELETE without NIF_GUID takes all icons of hWnd with uID. The picture is
// copied: the caller keeps hIcon. On Linux a thread shows one icon, the last one added. NIM_MODIFY changes what uFlags
// names; NIF_INFO with an empty szInfo takes the balloon away. False with ERROR_TIMEOUT if there is no desktop (on
// Linux: no session bus), or no taskbar yet: the icon is then known all the same, and its balloons show; E_FAIL if
// there is no such icon or, for NIM_ADD, one already. Never waits for a panel or a service, at most 30 ms for a bus
// just met: true means that the desktop was notified. By the thread of hWnd.
//
// Events come to hWnd as uCallbackMessage in the form of version 4: wParam holds x and y of the screen (low and high
// word, signed 16 bits each), lParam the event and uID. NIN_SELECT is posted with each single click, at once; a second
// one within GetDoubleClickTime is WM_LBUTTONDBLCLK. WM_CONTEXTMENU asks for the menu (win32/menu.h).
// NIN_BALLOONUSERCLICK comes of a balloon.
//
// A taskbar that comes (again) is announced to all top-level windows by the registered message "TaskbarCreated": the
// icons of before are gone then. On Linux the taskbar is the desktop's StatusNotifierWatcher.
//
// Shell_NotifyIconGetRect: the position of the icon on the screen. On Linux, where panels don't report it, this is the
// position of the last click, an empty rectangle, and E_FAIL before the first one.
#pragma once

#include "win32/window.h"

#ifdef _WIN32

#include <shellapi.h>

#else

struct NOTIFYICONDATAW {
    DWORD cbSize;
    HWND hWnd;
    UINT uID;
    UINT uFlags;
    UINT uCallbackMessage;
    HICON hIcon;
    WCHAR szTip[128];
    DWORD dwState;
    DWORD dwStateMask;
    WCHAR szInfo[256];
    union {
        UINT uTimeout;
        UINT uVersion;
    };
    WCHAR szInfoTitle[64];
    DWORD dwInfoFlags;
    GUID guidItem;
    HICON hBalloonIcon;
};
static_assert(sizeof(NOTIFYICONDATAW) == 976);
using PNOTIFYICONDATAW = NOTIFYICONDATAW*;

struct NOTIFYICONIDENTIFIER {
    DWORD cbSize;
    HWND hWnd;
    UINT uID;
    GUID guidItem;
};
static_assert(sizeof(NOTIFYICONIDENTIFIER) == 40);

#define NIM_ADD 0x0U
#define NIM_MODIFY 0x1U
#define NIM_DELETE 0x2U
#define NIM_SETVERSION 0x4U
#define NOTIFYICON_VERSION_4 4

#define NIF_MESSAGE 0x01U
#define NIF_ICON 0x02U
#define NIF_TIP 0x04U
#define NIF_INFO 0x10U
#define NIF_GUID 0x20U
#define NIF_SHOWTIP 0x80U

#define NIIF_INFO 0x01U
#define NIIF_RESPECT_QUIET_TIME 0x80U

#define NIN_SELECT (WM_USER + 0)
#define NIN_KEYSELECT (WM_USER + 1)
#define NIN_BALLOONSHOW (WM_USER + 2)
#define NIN_BALLOONTIMEOUT (WM_USER + 4)
#define NIN_BALLOONUSERCLICK (WM_USER + 5)

extern "C" {
BOOL WINAPI Shell_NotifyIconW(DWORD message, PNOTIFYICONDATAW data);
HRESULT WINAPI Shell_NotifyIconGetRect(const NOTIFYICONIDENTIFIER* identifier, RECT* rectangle);
}

#endif
