// The calling thread's last error, and the codes that the agent tells apart or that the layer reports.
//
// An operation that fails sets the code; one that succeeds leaves it, unless its own contract says otherwise
// (CreateMutexW, CreateFileW). Each thread has its own.
#pragma once

#include "win32/types.h"

#ifndef _WIN32

#define ERROR_SUCCESS 0
#define NO_ERROR 0
#define ERROR_INVALID_FUNCTION 1
#define ERROR_FILE_NOT_FOUND 2
#define ERROR_PATH_NOT_FOUND 3
#define ERROR_TOO_MANY_OPEN_FILES 4
#define ERROR_ACCESS_DENIED 5
#define ERROR_INVALID_HANDLE 6
#define ERROR_NOT_ENOUGH_MEMORY 8
#define ERROR_WRITE_PROTECT 19
#define ERROR_GEN_FAILURE 31
#define ERROR_SHARING_VIOLATION 32
#define ERROR_HANDLE_EOF 38
#define ERROR_HANDLE_DISK_FULL 39
#define ERROR_NOT_SUPPORTED 50
#define ERROR_FILE_EXISTS 80
#define ERROR_INVALID_PARAMETER 87
#define ERROR_BROKEN_PIPE 109
#define ERROR_DISK_FULL 112
#define ERROR_SEM_TIMEOUT 121
#define ERROR_INSUFFICIENT_BUFFER 122
#define ERROR_INVALID_NAME 123
#define ERROR_MOD_NOT_FOUND 126
#define ERROR_PROC_NOT_FOUND 127
#define ERROR_DIR_NOT_EMPTY 145
#define ERROR_BAD_PATHNAME 161
#define ERROR_BUSY 170
#define ERROR_ALREADY_EXISTS 183
#define ERROR_BAD_EXE_FORMAT 193
#define ERROR_FILENAME_EXCED_RANGE 206
#define ERROR_BAD_PIPE 230
#define ERROR_PIPE_BUSY 231
#define ERROR_NO_DATA 232
#define ERROR_PIPE_NOT_CONNECTED 233
#define ERROR_MORE_DATA 234
#define WAIT_TIMEOUT 258
#define ERROR_NO_MORE_ITEMS 259
#define ERROR_NOT_OWNER 288
#define ERROR_PIPE_CONNECTED 535
#define ERROR_ELEVATION_REQUIRED 740
#define ERROR_IO_DEVICE 1117
#define ERROR_CANCELLED 1223
#define ERROR_NOT_FOUND 1168
#define ERROR_TOO_MANY_LINKS 1142
#define ERROR_INVALID_WINDOW_HANDLE 1400
#define ERROR_TLW_WITH_WSCHILD 1406
#define ERROR_CANNOT_FIND_WND_CLASS 1407
#define ERROR_CLASS_ALREADY_EXISTS 1410
#define ERROR_CLASS_DOES_NOT_EXIST 1411
#define ERROR_INVALID_INDEX 1413
#define ERROR_NOT_ENOUGH_QUOTA 1816
#define ERROR_TIMEOUT 1460

#define S_OK (static_cast<HRESULT>(0))
#define S_FALSE (static_cast<HRESULT>(1))
#define E_NOTIMPL (static_cast<HRESULT>(0x80004001U))
#define E_NOINTERFACE (static_cast<HRESULT>(0x80004002U))
#define E_POINTER (static_cast<HRESULT>(0x80004003U))
#define E_FAIL (static_cast<HRESULT>(0x80004005U))
#define E_ACCESSDENIED (static_cast<HRESULT>(0x80070005U))
#define E_OUTOFMEMORY (static_cast<HRESULT>(0x8007000EU))
#define E_INVALIDARG (static_cast<HRESULT>(0x80070057U))
#define REGDB_E_CLASSNOTREG (static_cast<HRESULT>(0x80040154U))

extern "C" {
DWORD WINAPI GetLastError();
void WINAPI SetLastError(DWORD code);
}

#endif
