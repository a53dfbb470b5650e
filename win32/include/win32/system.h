// What the system says about the user and itself.
//
// GetUserPreferredUILanguages (MUI_LANGUAGE_NAME only): the languages of the user interface as names ("de-DE"), the
// preferred one first, each ended by a zero and the list by one more. *size is the buffer's size in characters and then
// what the list takes; with a null buffer and *size 0 only that is told, and the count. ERROR_INSUFFICIENT_BUFFER if
// the buffer is too small. On Linux they are read once from LANGUAGE, LC_ALL, LC_MESSAGES and LANG, as the programs of
// the desktop read them; "en-US" if these name none. Any thread. CharLowerW: makes a text lower case in place and
// returns it. A value below 0x10000 is one character instead.
// GetUserDefaultUILanguage: the first of these languages as an identifier, on Linux always LOCALE_CUSTOM_UI_DEFAULT,
// which stands for it. GetLocaleInfoA: the ISO code of the language or the country of such an identifier, with its
// zero; gives the length with that. 0 with ERROR_INVALID_PARAMETER for any other identifier or question and where no
// country is known, with ERROR_INSUFFICIENT_BUFFER for a buffer that is too small.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

using LANGID = WORD;
using LCID = DWORD;
using LCTYPE = DWORD;

#define MUI_LANGUAGE_NAME 0x8U
#define LOCALE_CUSTOM_UI_DEFAULT 0x1400U
#define LOCALE_SISO639LANGNAME 0x59U
#define LOCALE_SISO3166CTRYNAME 0x5AU

extern "C" {
BOOL WINAPI GetUserPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size);
LANGID WINAPI GetUserDefaultUILanguage();
int WINAPI GetLocaleInfoA(LCID locale, LCTYPE type, LPSTR data, int size);
LPWSTR WINAPI CharLowerW(LPWSTR text);
}

#endif
