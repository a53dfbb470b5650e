// Processes: starting them, waiting for them, ending them, and finding those that run.
//
// CreateProcessW (recorded: program, command line, directory): starts the program with the arguments of the command
// line, split as the Windows C runtime splits them; without a command line it gets none. Without a program name the
// first word of the command line is it, searched for in PATH if it has no separator. Only what the agent needs of the
// rest is looked at: the working directory. On Linux the program has a session of its own, no descriptor of the caller
// and /dev/null as its standard streams; where NAME.exe is absent, NAME is started. The two handles of
// PROCESS_INFORMATION are the caller's to close; closing them leaves the program running and no zombie behind.
// ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_BAD_EXE_FORMAT as they say; ERROR_DIRECTORY
// for a working directory that is none; ERROR_INVALID_PARAMETER if neither program nor command line is given;
// ERROR_ELEVATION_REQUIRED for a program that only root may execute.
// WaitForSingleObject (win32/kernel.h) on a process waits for its end; any number of threads may.
// GetExitCodeProcess: STILL_ACTIVE while it runs. A program that a signal ended on Linux has 128 and the signal's
// number, unless TerminateProcess did it in this process, which sets the code given there. Another program's child
// doesn't report its code: ERROR_NOT_SUPPORTED after its end.
// TerminateProcess (recorded: process number, code): at once and without the program's doing. ERROR_ACCESS_DENIED for
// one that has ended.
// OpenProcess: by its number, for PROCESS_QUERY_LIMITED_INFORMATION and PROCESS_TERMINATE; null with
// ERROR_INVALID_PARAMETER if there is none, ERROR_ACCESS_DENIED if the user may not.
// K32EnumProcesses: as many numbers as the buffer (its size in bytes) takes, and how many bytes that were.
// QueryFullProcessImageNameW: the program's path; *size in characters, with the zero before, without it after the call.
// Any thread.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifdef _WIN32

#include <psapi.h>

#else

struct STARTUPINFOW {
    DWORD cb;
    LPWSTR lpReserved;
    LPWSTR lpDesktop;
    LPWSTR lpTitle;
    DWORD dwX;
    DWORD dwY;
    DWORD dwXSize;
    DWORD dwYSize;
    DWORD dwXCountChars;
    DWORD dwYCountChars;
    DWORD dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    LPBYTE lpReserved2;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};
static_assert(sizeof(STARTUPINFOW) == 104);

struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};
static_assert(sizeof(PROCESS_INFORMATION) == 24);

#define STILL_ACTIVE 259U
#define PROCESS_TERMINATE 0x1U
#define PROCESS_QUERY_LIMITED_INFORMATION 0x1000U

extern "C" {
BOOL WINAPI CreateProcessW(LPCWSTR program, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                           LPSECURITY_ATTRIBUTES thread, BOOL inheritHandles, DWORD flags, LPVOID environment,
                           LPCWSTR directory, STARTUPINFOW* startup, PROCESS_INFORMATION* information);
BOOL WINAPI GetExitCodeProcess(HANDLE process, LPDWORD code);
BOOL WINAPI TerminateProcess(HANDLE process, UINT code);
HANDLE WINAPI OpenProcess(DWORD access, BOOL inheritHandle, DWORD number);
BOOL WINAPI K32EnumProcesses(DWORD* numbers, DWORD size, DWORD* used);
BOOL WINAPI QueryFullProcessImageNameW(HANDLE process, DWORD flags, LPWSTR path, PDWORD size);
}

#endif
