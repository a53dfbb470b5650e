// Files, as far as the agent reads, writes and replaces them. Paths take '\' and '/' alike.
//
// CreateFileW opens a file, or, for a path that begins with "\\.\pipe\", the client's end of a named pipe
// (win32/pipe.h). INVALID_HANDLE_VALUE is failure; ERROR_FILE_NOT_FOUND and ERROR_PATH_NOT_FOUND tell a missing file
// from a missing directory; a directory gives ERROR_ACCESS_DENIED; CREATE_ALWAYS on an existing file succeeds and
// sets ERROR_ALREADY_EXISTS. Sharing is held between processes that use this layer: an open that a present holder
// doesn't share fails with ERROR_SHARING_VIOLATION.
// ReOpenFile: a second handle on the same file with other access. FILE_FLAG_DELETE_ON_CLOSE removes the file when the
// handle that carries the flag is closed; until then it can be opened only with FILE_SHARE_DELETE.
// SetFileTime: null leaves a time as it is. Linux keeps the time of creation to itself: asking for it succeeds and
// changes nothing.
// ReadFile and WriteFile: synchronous only (null OVERLAPPED); they serve pipes too. 0 bytes and TRUE is the end of
// the file.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

#define GENERIC_READ 0x80000000U
#define GENERIC_WRITE 0x40000000U

#define FILE_SHARE_READ 0x1U
#define FILE_SHARE_WRITE 0x2U
#define FILE_SHARE_DELETE 0x4U

#define CREATE_NEW 1U
#define CREATE_ALWAYS 2U
#define OPEN_EXISTING 3U
#define OPEN_ALWAYS 4U
#define TRUNCATE_EXISTING 5U

#define FILE_ATTRIBUTE_NORMAL 0x80U
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000U
#define SECURITY_SQOS_PRESENT 0x00100000U

#define FILE_BEGIN 0U
#define FILE_CURRENT 1U
#define FILE_END 2U

extern "C" {
HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                          DWORD flags, HANDLE templateFile);
HANDLE WINAPI ReOpenFile(HANDLE file, DWORD access, DWORD sharing, DWORD flags);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped);
BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method);
BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size);
BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite);
}

#endif
