// What is embedded into the program, icons, movable memory and streams over it.
//
// FindResourceW, LoadResource, LockResource, SizeofResource: the bytes of a resource of the running program (module
// null), by number, also written as "#101". They live as long as the program. Null with ERROR_RESOURCE_NAME_NOT_FOUND,
// ERROR_RESOURCE_TYPE_NOT_FOUND or, for a program without any, ERROR_RESOURCE_DATA_NOT_FOUND; 0 as the size of none.
// On Linux win32/embedded.h is how resources come into a program.
// LoadImageW: an icon (IMAGE_ICON) of the icon group `name`, made to cx by cy pixels from the next larger image; given
// back by DestroyIcon. LoadIconW: an icon of the program or, with a null module, of the desktop (IDI_APPLICATION);
// shared: the same handle each time, and never given back. Both give null with the same errors.
// GlobalAlloc, GlobalLock, GlobalUnlock, GlobalFree: GlobalFree gives null on success, and GlobalUnlock FALSE with
// NO_ERROR when the last lock is gone. A handle of GMEM_FIXED is the memory's address; other operations hand such
// memory out, and GlobalFree takes it back. Movable memory of size 0 can't be locked: ERROR_DISCARDED.
// CreateStreamOnHGlobal (movable memory only, or null for memory of the stream's own): with `deleteOnRelease` the
// memory belongs to the stream from the moment of success. Any thread.
#pragma once

#include "win32/com.h"

#ifdef _WIN32

#include <objidl.h>

#else

WIN32_DECLARE_HANDLE(HRSRC);
using HGLOBAL = HANDLE;

// What goes through a stream is read by the operations that take one; the agent only gives it back.
struct IStream : IUnknown {
protected:
    ~IStream() = default;
};
using LPSTREAM = IStream*;

#define RT_RCDATA MAKEINTRESOURCEW(10)
#define IDI_APPLICATION MAKEINTRESOURCEW(32512)
#define IMAGE_ICON 1U
#define LR_DEFAULTCOLOR 0x0U
#define GMEM_FIXED 0x0U
#define GMEM_MOVEABLE 0x2U

extern "C" {
HRSRC WINAPI FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
HGLOBAL WINAPI LoadResource(HMODULE module, HRSRC resource);
LPVOID WINAPI LockResource(HGLOBAL data);
DWORD WINAPI SizeofResource(HMODULE module, HRSRC resource);

HANDLE WINAPI LoadImageW(HINSTANCE instance, LPCWSTR name, UINT type, int cx, int cy, UINT flags);
HICON WINAPI LoadIconW(HINSTANCE instance, LPCWSTR name);
BOOL WINAPI DestroyIcon(HICON icon);

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T size);
LPVOID WINAPI GlobalLock(HGLOBAL memory);
BOOL WINAPI GlobalUnlock(HGLOBAL memory);
HGLOBAL WINAPI GlobalFree(HGLOBAL memory);
HRESULT WINAPI CreateStreamOnHGlobal(HGLOBAL memory, BOOL deleteOnRelease, LPSTREAM* stream);
}

#endif
