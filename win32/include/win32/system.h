// What the system reports about the user and itself.
//
// GetUserPreferredUILanguages (MUI_LANGUAGE_NAME, which is also meant by 0): the languages of the user interface as
// names ("de-DE"), the preferred one first, each ended by a zero and the list by one more. *size is the buffer's size
// in characters and then what the list takes; with a null buffer and *size 0 only that is returned, and the count.
// ERROR_INSUFFICIENT_BUFFER if the buffer is too small. On Linux they are read at each call from LANGUAGE, LC_ALL,
// LC_MESSAGES and LANG, as the programs of the desktop read them; "en-US" if these name none. Any thread. CharLowerW:
// makes a text lower case in place and returns it. A value below 0x10000 is one character instead.
// GetUserDefaultUILanguage: the first of these languages as an identifier, on Linux always LOCALE_CUSTOM_UI_DEFAULT,
// which stands for it. GetLocaleInfoA: the ISO code of the language or the country of such an identifier, with its
// zero; gives the length with that, or for size 0 what it takes. 0 with ERROR_INVALID_PARAMETER for any other
// identifier or query and where no country is known, with ERROR_INSUFFICIENT_BUFFER for a buffer that is too small.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifdef _WIN32

#include <intrin.h>

#else

using LANGID = WORD;
using LCID = DWORD;
using LCTYPE = DWORD;
using GEOID = LONG;
using GEOCLASS = DWORD;

struct OSVERSIONINFOA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
};
static_assert(sizeof(OSVERSIONINFOA) == 148);

struct OSVERSIONINFOEXA {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    CHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};
static_assert(sizeof(OSVERSIONINFOEXA) == 156);

struct SYSTEM_INFO {
    WORD wProcessorArchitecture;
    WORD wReserved;
    DWORD dwPageSize;
    LPVOID lpMinimumApplicationAddress;
    LPVOID lpMaximumApplicationAddress;
    DWORD_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors;
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
};
static_assert(sizeof(SYSTEM_INFO) == 48);

struct MEMORYSTATUSEX {
    DWORD dwLength;
    DWORD dwMemoryLoad;
    ULONGLONG ullTotalPhys;
    ULONGLONG ullAvailPhys;
    ULONGLONG ullTotalPageFile;
    ULONGLONG ullAvailPageFile;
    ULONGLONG ullTotalVirtual;
    ULONGLONG ullAvailVirtual;
    ULONGLONG ullAvailExtendedVirtual;
};
static_assert(sizeof(MEMORYSTATUSEX) == 64);

struct SYSTEM_POWER_STATUS {
    BYTE ACLineStatus;
    BYTE BatteryFlag;
    BYTE BatteryLifePercent;
    BYTE SystemStatusFlag;
    DWORD BatteryLifeTime;
    DWORD BatteryFullLifeTime;
};
static_assert(sizeof(SYSTEM_POWER_STATUS) == 12);

#define MUI_LANGUAGE_NAME 0x8U
#define LOCALE_CUSTOM_UI_DEFAULT 0x1400U
#define LOCALE_SISO639LANGNAME 0x59U
#define LOCALE_SISO3166CTRYNAME 0x5AU
#define GEOCLASS_NATION 16U
#define GEOID_NOT_AVAILABLE (-1)
#define VER_NT_WORKSTATION 1
#define VER_SUITE_PERSONAL 0x200
#define PROCESSOR_ARCHITECTURE_INTEL 0
#define PROCESSOR_ARCHITECTURE_AMD64 9
#define PROCESSOR_ARCHITECTURE_ARM64 12
#define PROCESSOR_ARCHITECTURE_UNKNOWN 0xFFFF

extern "C" {
BOOL WINAPI GetUserPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size);
LANGID WINAPI GetUserDefaultUILanguage();
int WINAPI GetLocaleInfoA(LCID locale, LCTYPE type, LPSTR data, int size);
LPWSTR WINAPI CharLowerW(LPWSTR text);
GEOID WINAPI GetUserGeoID(GEOCLASS geoClass);
BOOL WINAPI GetVersionExA(OSVERSIONINFOA* version);
void WINAPI GetNativeSystemInfo(SYSTEM_INFO* information);
BOOL WINAPI GlobalMemoryStatusEx(MEMORYSTATUSEX* status);
BOOL WINAPI GetSystemPowerStatus(SYSTEM_POWER_STATUS* status);
void __cpuid(int registers[4], int leaf);
}

#endif
