// The registry: keys below HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE that hold named values.
//
// Each operation returns its error code, 0 for success, and doesn't touch the last error. Key and value names are
// compared without regard to case. ERROR_BAD_PATHNAME for a path that begins with a separator. A key that can't be
// opened is given as null. On Linux a hive is one
// JSON file, replaced as a whole under a lock, so that a process that is killed leaves the old state or the new one;
// docs/locations.md says where. What is written below "Software\Microsoft\Windows\CurrentVersion\Run" of the user also
// becomes an autostart entry of the desktop (freedesktop.org, Desktop Application Autostart). Any thread, any number of
// processes.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

using REGSAM = DWORD;
using PHKEY = HKEY*;

#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0xFFFFFFFF80000001ULL)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<ULONG_PTR>(0xFFFFFFFF80000002ULL)))

#define KEY_QUERY_VALUE 0x1U
#define KEY_SET_VALUE 0x2U
#define KEY_WOW64_32KEY 0x200U
#define KEY_READ 0x20019U
#define KEY_ALL_ACCESS 0xF003FU

#define REG_OPTION_NON_VOLATILE 0U
#define REG_CREATED_NEW_KEY 1U
#define REG_OPENED_EXISTING_KEY 2U

#define REG_SZ 1U
#define REG_EXPAND_SZ 2U
#define REG_BINARY 3U
#define REG_DWORD 4U

extern "C" {
LSTATUS WINAPI RegCreateKeyExW(HKEY parent, LPCWSTR path, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
                               LPSECURITY_ATTRIBUTES security, PHKEY key, LPDWORD disposition);
LSTATUS WINAPI RegOpenKeyExW(HKEY parent, LPCWSTR path, DWORD options, REGSAM access, PHKEY key);
LSTATUS WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size);
LSTATUS WINAPI RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LSTATUS WINAPI RegDeleteValueW(HKEY key, LPCWSTR name);
LSTATUS WINAPI RegCloseKey(HKEY key);
}

#endif
