// What the system says about the user and itself.
//
// GetUserPreferredUILanguages (MUI_LANGUAGE_NAME only): the languages of the user interface as names ("de-DE"), the
// preferred one first, each ended by a zero and the list by one more. *size is the buffer's size in characters and then
// what the list takes; with a null buffer and *size 0 only that is told, and the count. ERROR_INSUFFICIENT_BUFFER if
// the buffer is too small. On Linux they are read once from LANGUAGE, LC_ALL, LC_MESSAGES and LANG, as the programs of
// the desktop read them; "en-US" if these name none. Any thread. CharLowerW: makes a text lower case in place and
// returns it. A value below 0x10000 is one character instead.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

#define MUI_LANGUAGE_NAME 0x8U

extern "C" {
BOOL WINAPI GetUserPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size);
LPWSTR WINAPI CharLowerW(LPWSTR text);
}

#endif
