// Windows, their messages and timers.
//
// Windows are a model inside of the process and need no display. The messages of a window go to the thread that made
// it, and its procedure runs on that thread alone.
//
// RegisterClassExW: 0 with ERROR_CLASS_ALREADY_EXISTS for a known name; the case of class names doesn't matter. The
// class "Static" is there from the start.
// CreateWindowExW sends WM_NCCREATE and WM_CREATE before it returns, with a CREATESTRUCTW as lParam; the handle works
// in them. Null if WM_NCCREATE gives 0 or WM_CREATE -1 (the window is then destroyed again), or with
// ERROR_CANNOT_FIND_WND_CLASS, ERROR_INVALID_WINDOW_HANDLE (the parent), ERROR_TLW_WITH_WSCHILD (a child without one).
// DestroyWindow: by the thread that made it, else ERROR_ACCESS_DENIED. WM_DESTROY goes to the window, then to its
// children; its timers end, and messages that still wait for it are dropped.
// DefWindowProcW: WM_CLOSE destroys the window.
// SetWindowLongPtrW, GetWindowLongPtrW: GWLP_USERDATA and GWLP_WNDPROC, of this process's windows, from any thread.
//
// PostMessageW (recorded for other processes): from any thread, to windows of all processes of the session; null is the
// calling thread itself. Messages of one sender keep their order. ERROR_INVALID_WINDOW_HANDLE if the window is gone,
// ERROR_NOT_ENOUGH_QUOTA with 10,000 waiting, ERROR_MESSAGE_SYNC_ONLY for a message of the system that carries an
// address. DispatchMessageW calls the procedure of a WM_TIMER only if a timer of the thread has it. On Linux, a process
// that doesn't fetch its messages takes fewer from other processes, and the last code then comes after a second.
// SendMessageW: to windows of the calling thread only, else 0 with ERROR_NOT_SUPPORTED. PeekMessageW: for all windows
// (null) and without filters only. Posted messages come first, then WM_QUIT, then WM_PAINT, then timers. Never waits;
// two system calls when there is nothing. RegisterWindowMessageW: 0xC000 to 0xFFFF, the same for the same name (any
// case) throughout the session. SetTimer: WM_TIMER each `milliseconds` (10 to 2^31 - 1, others are moved there) until
// KillTimer; a tick that isn't fetched is not doubled; setting it again starts it anew. By the window's thread.
//
// ShowWindow (SW_HIDE, SW_SHOW): true if the window was visible before. IsWindowVisible: with all of its parents.
// SetWindowPos: SWP_NOSIZE, SWP_NOMOVE, SWP_NOZORDER, SWP_NOACTIVATE, SWP_SHOWWINDOW, SWP_HIDEWINDOW. GetWindowRect: on
// the screen. A window that becomes visible gets WM_PAINT when nothing else waits, or at once by UpdateWindow, and so
// do its children. Without a display the window is visible in the model only.
// SetForegroundWindow: gives a visible window the activation. WM_ACTIVATE reports it, and with WA_INACTIVE of the loss,
// to another window of the desktop, too. On a hidden window it succeeds and does nothing. False with
// ERROR_ACCESS_DENIED without a display. GetForegroundWindow: this process's window that has it, or null.
// GetSystemMetrics: SM_CXSMICON, SM_CYSMICON, SM_MENUDROPALIGNMENT; 0 for others. GetDoubleClickTime: milliseconds.
//
// CalculatePopupWindowPosition: where a window of a size belongs that pops up at `anchor`: aligned to it by the TPM_
// flags, kept inside of the nearest monitor, with TPM_WORKAREA inside of its work area, and moved off `exclude` (may be
// null), with TPM_VERTICAL upwards or downwards rather than sideways; where that leaves no room it covers `exclude`.
// Pixels of the screen, negative ones left of and above the primary monitor. ERROR_INVALID_PARAMETER for contradicting
// flags, ERROR_ACCESS_DENIED without a display.
//
// EnumWindows: the top-level windows of the session's processes, hidden ones too; false if `callback` stopped it.
// GetClassNameW, GetClassNameA, IsWindow: for top-level windows of all processes and all windows of this one. The text
// is cut at the buffer's end; its length is the result.
//
// On Linux SIGTERM, SIGINT and SIGHUP post WM_CLOSE to the process's top-level windows when a thread next looks for
// messages. A second one, or one that comes when there is no such window, ends the process as if it weren't handled.
// Signals that were ignored when the first window was made stay so.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

using WNDPROC = LRESULT(CALLBACK*)(HWND, UINT, WPARAM, LPARAM);
using WNDENUMPROC = BOOL(CALLBACK*)(HWND, LPARAM);
using TIMERPROC = void(CALLBACK*)(HWND, UINT, UINT_PTR, DWORD);

struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};
static_assert(sizeof(MSG) == 48);
using LPMSG = MSG*;

struct WNDCLASSEXW {
    UINT cbSize;
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
    HICON hIconSm;
};
static_assert(sizeof(WNDCLASSEXW) == 80);

struct CREATESTRUCTW {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
};
static_assert(sizeof(CREATESTRUCTW) == 80);

#define CS_VREDRAW 0x1U
#define CS_HREDRAW 0x2U
#define WS_POPUP 0x80000000U
#define WS_CHILD 0x40000000U
#define WS_VISIBLE 0x10000000U
#define SS_OWNERDRAW 0x0000000DU
#define WS_EX_TOPMOST 0x8U
#define WS_EX_TOOLWINDOW 0x80U
#define COLOR_WINDOW 5
#define IDC_ARROW MAKEINTRESOURCEW(32512)

#define WM_NULL 0x0000U
#define WM_CREATE 0x0001U
#define WM_DESTROY 0x0002U
#define WM_ACTIVATE 0x0006U
#define WM_PAINT 0x000FU
#define WM_CLOSE 0x0010U
#define WM_QUIT 0x0012U
#define WM_DRAWITEM 0x002BU
#define WM_CONTEXTMENU 0x007BU
#define WM_NCCREATE 0x0081U
#define WM_NCDESTROY 0x0082U
#define WM_COMMAND 0x0111U
#define WM_TIMER 0x0113U
#define WM_CTLCOLORSTATIC 0x0138U
#define WM_LBUTTONDBLCLK 0x0203U
#define WM_USER 0x0400U

#define PM_NOREMOVE 0x0U
#define PM_REMOVE 0x1U

#define WA_INACTIVE 0
#define WA_ACTIVE 1

#define SW_HIDE 0
#define SW_SHOWNORMAL 1
#define SW_SHOW 5
#define SWP_NOSIZE 0x01U
#define SWP_NOMOVE 0x02U
#define SWP_NOZORDER 0x04U
#define SWP_NOACTIVATE 0x10U
#define SWP_SHOWWINDOW 0x40U
#define SWP_HIDEWINDOW 0x80U
#define HWND_TOPMOST (reinterpret_cast<HWND>(static_cast<LONG_PTR>(-1)))

#define SM_MENUDROPALIGNMENT 40
#define SM_CXSMICON 49
#define SM_CYSMICON 50

#define TPM_LEFTALIGN 0x00U
#define TPM_CENTERALIGN 0x04U
#define TPM_RIGHTALIGN 0x08U
#define TPM_TOPALIGN 0x00U
#define TPM_VCENTERALIGN 0x10U
#define TPM_BOTTOMALIGN 0x20U
#define TPM_HORIZONTAL 0x00U
#define TPM_VERTICAL 0x40U
#define TPM_WORKAREA 0x10000U
#define TPM_RIGHTBUTTON 0x02U

#define GWLP_WNDPROC (-4)
#define GWLP_USERDATA (-21)

extern "C" {
ATOM WINAPI RegisterClassExW(const WNDCLASSEXW* windowClass);
HWND WINAPI CreateWindowExW(DWORD extendedStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
                            int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID parameter);
BOOL WINAPI DestroyWindow(HWND window);
LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LONG_PTR WINAPI GetWindowLongPtrW(HWND window, int index);
LONG_PTR WINAPI SetWindowLongPtrW(HWND window, int index, LONG_PTR value);
HCURSOR WINAPI LoadCursorW(HINSTANCE instance, LPCWSTR name);

BOOL WINAPI ShowWindow(HWND window, int command);
BOOL WINAPI IsWindowVisible(HWND window);
BOOL WINAPI SetWindowPos(HWND window, HWND after, int x, int y, int width, int height, UINT flags);
BOOL WINAPI GetWindowRect(HWND window, RECT* rectangle);
BOOL WINAPI UpdateWindow(HWND window);
BOOL WINAPI SetForegroundWindow(HWND window);
HWND WINAPI GetForegroundWindow();
int WINAPI GetSystemMetrics(int index);
UINT WINAPI GetDoubleClickTime();
BOOL WINAPI CalculatePopupWindowPosition(const POINT* anchor, const SIZE* size, UINT flags, RECT* exclude,
                                         RECT* rectangle);

BOOL WINAPI PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
LRESULT WINAPI SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
BOOL WINAPI PeekMessageW(LPMSG message, HWND window, UINT first, UINT last, UINT remove);
BOOL WINAPI TranslateMessage(const MSG* message);
LRESULT WINAPI DispatchMessageW(const MSG* message);
void WINAPI PostQuitMessage(int exitCode);
UINT WINAPI RegisterWindowMessageW(LPCWSTR name);
UINT_PTR WINAPI SetTimer(HWND window, UINT_PTR id, UINT milliseconds, TIMERPROC callback);
BOOL WINAPI KillTimer(HWND window, UINT_PTR id);

BOOL WINAPI EnumWindows(WNDENUMPROC callback, LPARAM parameter);
int WINAPI GetClassNameW(HWND window, LPWSTR buffer, int size);
int WINAPI GetClassNameA(HWND window, LPSTR buffer, int size);
BOOL WINAPI IsWindow(HWND window);
}

#endif
