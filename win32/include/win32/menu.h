// Shortcut menus.
//
// A menu is a model inside of the process and needs no desktop. Item ids are any number, 0 too. Its texts are copied;
// '&' marks an item's access key. All calls by the thread of the window that shows the menu.
//
// CreatePopupMenu: an empty menu, which the caller gives back by DestroyMenu. AppendMenuW, InsertMenuW (before the item
// that `position` names, or at the end where there is none), DeleteMenu: by id (MF_BYCOMMAND) or by index
// (MF_BYPOSITION). False with ERROR_INVALID_MENU_HANDLE, DeleteMenu also with ERROR_MENU_ITEM_NOT_FOUND.
// TrackPopupMenu: shows the menu; the choice comes as a posted WM_COMMAND to `owner`, its id in the low word of wParam.
// On Linux the menu belongs to the icon that sent WM_CONTEXTMENU: the desktop's panel draws it, at a place of its own,
// and the call returns when the panel has it, before any choice. ERROR_ACCESS_DENIED if there is no panel to show it.
// (recorded: x, y, then a text an item, "-" for a separator)
// GetMenuItemCount: -1 on failure. GetMenuItemID: -1 (UINT) if there is none at the index. GetMenuStringW: the length
// of the text copied, without its end, or of the whole text for a null buffer or size 0; 0 for a separator.
#pragma once

#include "win32/window.h"

#ifndef _WIN32

#define MF_BYCOMMAND 0x000U
#define MF_BYPOSITION 0x400U
#define MF_STRING 0x000U
#define MF_SEPARATOR 0x800U

extern "C" {
HMENU WINAPI CreatePopupMenu();
BOOL WINAPI AppendMenuW(HMENU menu, UINT flags, UINT_PTR id, LPCWSTR text);
BOOL WINAPI InsertMenuW(HMENU menu, UINT position, UINT flags, UINT_PTR id, LPCWSTR text);
BOOL WINAPI DeleteMenu(HMENU menu, UINT position, UINT flags);
BOOL WINAPI DestroyMenu(HMENU menu);
BOOL WINAPI TrackPopupMenu(HMENU menu, UINT flags, int x, int y, int reserved, HWND owner, const RECT* ignored);

int WINAPI GetMenuItemCount(HMENU menu);
UINT WINAPI GetMenuItemID(HMENU menu, int index);
int WINAPI GetMenuStringW(HMENU menu, UINT item, LPWSTR buffer, int size, UINT flags);
}

#endif
