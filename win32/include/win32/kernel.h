// Handles, the clock, sleeping, memory and modules.
//
// CloseHandle: gives a handle of any kind back; the object ends with its last handle. False with
// ERROR_INVALID_HANDLE for what isn't an open handle. Any thread.
// Sleep: gives up the processor for at least the given milliseconds, at most 15.6 ms longer, as on Windows.
// GetSystemTimeAsFileTime: UTC in 100 ns ticks since 1601-01-01. FileTimeToSystemTime breaks it into a calendar date
// and fails with ERROR_INVALID_PARAMETER for values of 2^63 and above.
// GetModuleFileNameW: only the running program (null module). The text is cut at the buffer's end, and the result is
// then the buffer's size with ERROR_INSUFFICIENT_BUFFER.
// LocalAlloc (LMEM_FIXED) and LocalFree: memory that operations hand out or are given. LocalFree gives null on success
// and takes null.
// SetProcessWorkingSetSize: only to empty the working set of this process (GetCurrentProcess, both sizes -1): memory
// that can be had again from its file, or that the heap doesn't use, goes back to the system. Any thread.
// ExpandEnvironmentStringsW: puts the values of variables in the place of their %NAMES%; the case of the names doesn't
// matter, and an unknown one stays as it is. Gives the characters that the result takes with its zero; more than `size`
// means that it didn't fit.
// GetCurrentProcess: a handle that stands for this process wherever one of a process is taken (win32/process.h). It
// needn't be given back, and may. GetProcAddress: on Linux the module "kernel32" (in any case, also with ".dll") exists
// and has SetDefaultDllDirectories; nothing else is looked up.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

using FARPROC = INT_PTR (*)();

#define WAIT_OBJECT_0 0U
#define WAIT_ABANDONED 0x80U
#define WAIT_FAILED 0xFFFFFFFFU

#define LMEM_FIXED 0x0U

#define LOAD_LIBRARY_SEARCH_APPLICATION_DIR 0x200U
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x800U

extern "C" {
BOOL WINAPI CloseHandle(HANDLE handle);
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
void WINAPI Sleep(DWORD milliseconds);
void WINAPI GetSystemTimeAsFileTime(FILETIME* time);
BOOL WINAPI FileTimeToSystemTime(const FILETIME* fileTime, SYSTEMTIME* systemTime);
DWORD WINAPI GetCurrentProcessId();
DWORD WINAPI GetCurrentThreadId();
HANDLE WINAPI GetCurrentProcess();
BOOL WINAPI SetProcessWorkingSetSize(HANDLE process, SIZE_T minimum, SIZE_T maximum);
HMODULE WINAPI GetModuleHandleW(LPCWSTR name);
DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
DWORD WINAPI ExpandEnvironmentStringsW(LPCWSTR text, LPWSTR buffer, DWORD size);
HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size);
HLOCAL WINAPI LocalFree(HLOCAL memory);
FARPROC WINAPI GetProcAddress(HMODULE module, LPCSTR name);
}

#endif
