// Files, as far as the agent reads, writes and replaces them. Paths take '\' and '/' alike.
//
// CreateFileW opens a file, or, for a path that begins with "\\.\pipe\", the client's end of a named pipe
// (win32/pipe.h). INVALID_HANDLE_VALUE is failure; ERROR_FILE_NOT_FOUND and ERROR_PATH_NOT_FOUND tell a missing file
// from a missing directory; a directory gives ERROR_ACCESS_DENIED; CREATE_ALWAYS on an existing file succeeds and sets
// ERROR_ALREADY_EXISTS, as OPEN_ALWAYS does; any other success sets 0. A file that is made with FILE_ATTRIBUTE_READONLY
// can be written by that handle alone. Sharing is held between processes that use this layer: an open that a present
// holder doesn't share fails with ERROR_SHARING_VIOLATION.
// ReOpenFile: a second handle on the same file with other access. FILE_FLAG_DELETE_ON_CLOSE removes the file when the
// handle that carries the flag is closed; until then it can be opened only with FILE_SHARE_DELETE.
// SetFileTime: null or 0 leaves a time as it is. Linux keeps the time of creation to itself: asking for that alone
// fails with ERROR_NOT_SUPPORTED and changes nothing. ReadFile and WriteFile: synchronous only (null OVERLAPPED); they
// serve pipes too. 0 bytes and TRUE is the end of the file. FlushFileBuffers: what was written is on the disk, or has
// been read from a pipe.
//
// FindFirstFileW walks a directory given as "DIRECTORY\*": "." first, then "..", then the rest in no order, an entry a
// call, in memory that doesn't grow with the directory. INVALID_HANDLE_VALUE with ERROR_PATH_NOT_FOUND,
// ERROR_ACCESS_DENIED or ERROR_DIRECTORY; FindNextFileW ends with ERROR_NO_MORE_FILES. Only attributes, size and names
// are reported. On Linux a symbolic link is a reparse point without the directory's attribute, so that no walk follows
// it. A file has FILE_ATTRIBUTE_ARCHIVE, as every new one on Windows. GetFileAttributesW: of what a link leads to;
// INVALID_FILE_ATTRIBUTES if nothing is there, with the codes of CreateFileW.
//
// GetDiskFreeSpaceExW: of a directory's volume, in bytes: what the user may have, its size, what is free; null
// results are left out. ERROR_PATH_NOT_FOUND, ERROR_DIRECTORY. GetVolumePathNameW: where the volume of a path, which
// need not exist, is mounted, with a separator at its end; ERROR_FILENAME_EXCED_RANGE if that doesn't fit. Its result
// is what GetDriveTypeW and GetVolumeInformationW take, or null for the volume of the working directory:
// DRIVE_NO_ROOT_DIR, and ERROR_DIR_NOT_ROOT or ERROR_PATH_NOT_FOUND, for anything else. Of the latter's results only
// the flags are asked for, the others are to be null; a mount that takes no writes has FILE_READ_ONLY_VOLUME. On Linux
// file systems of the network are DRIVE_REMOTE, those of optical discs DRIVE_CDROM, those in memory DRIVE_RAMDISK, and
// a disk is removable if the kernel reports it so.
//
// GetTempPathW: the directory for temporary files with a separator at its end; gives its length, or the room that it
// needs. GetTempFileNameW: "DIRECTORY\PREnnnn.tmp" with up to three characters of the prefix and the lower 16 bits of
// `unique` (not 0) in hexadecimal; makes no file, and gives `unique`, or 0 with ERROR_DIRECTORY or
// ERROR_BUFFER_OVERFLOW. `path` has room for MAX_PATH characters.
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

#define FILE_ATTRIBUTE_READONLY 0x1U
#define FILE_ATTRIBUTE_DIRECTORY 0x10U
#define FILE_ATTRIBUTE_ARCHIVE 0x20U
#define FILE_ATTRIBUTE_NORMAL 0x80U
#define FILE_ATTRIBUTE_REPARSE_POINT 0x400U
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFU
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000U
#define SECURITY_SQOS_PRESENT 0x00100000U

#define FILE_BEGIN 0U
#define FILE_CURRENT 1U
#define FILE_END 2U

#define FILE_READ_ONLY_VOLUME 0x00080000U
#define DRIVE_UNKNOWN 0U
#define DRIVE_NO_ROOT_DIR 1U
#define DRIVE_REMOVABLE 2U
#define DRIVE_FIXED 3U
#define DRIVE_REMOTE 4U
#define DRIVE_CDROM 5U
#define DRIVE_RAMDISK 6U

union ULARGE_INTEGER {
    __extension__ struct {
        DWORD LowPart;
        DWORD HighPart;
    };
    struct {
        DWORD LowPart;
        DWORD HighPart;
    } u;
    ULONGLONG QuadPart;
};
using PULARGE_INTEGER = ULARGE_INTEGER*;

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];
    WCHAR cAlternateFileName[14];
};
static_assert(sizeof(WIN32_FIND_DATAW) == 592);

extern "C" {
HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                          DWORD flags, HANDLE templateFile);
HANDLE WINAPI ReOpenFile(HANDLE file, DWORD access, DWORD sharing, DWORD flags);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD done, LPOVERLAPPED overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID bytes, DWORD size, LPDWORD done, LPOVERLAPPED overlapped);
BOOL WINAPI FlushFileBuffers(HANDLE file);
BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method);
BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size);
BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite);

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
BOOL WINAPI FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data);
BOOL WINAPI FindClose(HANDLE find);
DWORD WINAPI GetFileAttributesW(LPCWSTR path);
BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR directory, PULARGE_INTEGER available, PULARGE_INTEGER total,
                                PULARGE_INTEGER free);
BOOL WINAPI GetVolumePathNameW(LPCWSTR path, LPWSTR volume, DWORD size);
UINT WINAPI GetDriveTypeW(LPCWSTR volume);
BOOL WINAPI GetVolumeInformationW(LPCWSTR volume, LPWSTR name, DWORD nameSize, LPDWORD serialNumber,
                                  LPDWORD longestName, LPDWORD flags, LPWSTR fileSystem, DWORD fileSystemSize);
DWORD WINAPI GetTempPathW(DWORD size, LPWSTR path);
UINT WINAPI GetTempFileNameW(LPCWSTR directory, LPCWSTR prefix, UINT unique, LPWSTR path);
}

#endif
