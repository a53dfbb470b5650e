// Mutexes: owned by a thread, taken again by it without waiting, and found by name from other processes.
//
// CreateMutexW, CreateMutexA: on success the last error is ERROR_ALREADY_EXISTS if the name existed, else 0. The name
// exists exactly as long as some process holds a handle; a process's end closes its handles, whatever ended it. Null is
// failure. `initialOwner` counts only for a mutex that this call made. Names are case-sensitive and may hold any
// character but '\', bar the prefixes "Local\" (the user's session, also without it) and "Global\" (the machine; users
// share it). Null or empty: a mutex without a name.
// OpenMutexW, OpenMutexA: null with ERROR_FILE_NOT_FOUND for a name that doesn't exist, ERROR_INVALID_PARAMETER for
// null.
// WaitForSingleObject (win32/kernel.h) takes the mutex: WAIT_OBJECT_0; WAIT_ABANDONED if its owner ended while it owned
// it, reported once, to the one who owns it now; WAIT_TIMEOUT after the given milliseconds, which don't run for
// INFINITE. ReleaseMutex: once for each wait that gave the mutex, WAIT_ABANDONED among them; ERROR_NOT_OWNER for any
// other thread. On Linux a process that closes its last handle gives up a mutex that one of its threads still owns, as
// if that thread had ended.
#pragma once

#include "win32/error.h"
#include "win32/kernel.h"
#include "win32/types.h"

#ifndef _WIN32

#define SYNCHRONIZE 0x100000U
#define MUTEX_ALL_ACCESS 0x1F0001U

extern "C" {
HANDLE WINAPI CreateMutexW(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCWSTR name);
HANDLE WINAPI CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name);
HANDLE WINAPI OpenMutexW(DWORD access, BOOL inherit, LPCWSTR name);
HANDLE WINAPI OpenMutexA(DWORD access, BOOL inherit, LPCSTR name);
BOOL WINAPI ReleaseMutex(HANDLE mutex);
}

#endif
