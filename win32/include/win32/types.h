// The types, macros and constants that every other header of the layer rests on.
//
// On Windows this is <windows.h>. On Linux the same names have the same widths and the same layout as in the
// 64-bit Windows SDK; WCHAR is the 16-bit char16_t, so that a wide string has the same bytes on both systems.
#pragma once

#include <string>

#ifdef _WIN32

#ifndef NOMINMAX
#define NOMINMAX
#endif
// In this order, or the older sockets of the second one are in the way of the first, which libcurl includes.
// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on

// A wide literal: W("text").
#define WIN32_WIDE_LITERAL(text) L##text
#define W(text) WIN32_WIDE_LITERAL(text)

#else

#include <cstddef>
#include <cstdint>

using BOOL = int;
using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using ATOM = WORD;
using SHORT = std::int16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using UINT = std::uint32_t;
using INT = std::int32_t;
using LONG = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD64 = std::uint64_t;
using HRESULT = LONG;
using LSTATUS = LONG;
using SIZE_T = std::size_t;
using INT_PTR = std::intptr_t;
using UINT_PTR = std::uintptr_t;
using LONG_PTR = std::intptr_t;
using ULONG_PTR = std::uintptr_t;
using DWORD_PTR = std::uintptr_t;
using WPARAM = UINT_PTR;
using LPARAM = LONG_PTR;
using LRESULT = LONG_PTR;

using CHAR = char;
using WCHAR = char16_t;
using PWSTR = WCHAR*;
using LPWSTR = WCHAR*;
using PCWSTR = const WCHAR*;
using LPCWSTR = const WCHAR*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPVOID = void*;
using PVOID = void*;
using LPCVOID = const void*;
using LPDWORD = DWORD*;
using PDWORD = DWORD*;
using LPBYTE = BYTE*;
using PBYTE = BYTE*;

using HANDLE = void*;
using HLOCAL = HANDLE;
using PHANDLE = HANDLE*;

// Each kind of handle is a pointer to a type of its own, as under the SDK's STRICT, so that they can't be mixed up.
#define WIN32_DECLARE_HANDLE(name) \
    struct name##__ {              \
        int unused;                \
    };                             \
    using name = name##__*

WIN32_DECLARE_HANDLE(HINSTANCE);
WIN32_DECLARE_HANDLE(HWND);
WIN32_DECLARE_HANDLE(HMENU);
WIN32_DECLARE_HANDLE(HICON);
WIN32_DECLARE_HANDLE(HBRUSH);
WIN32_DECLARE_HANDLE(HKEY);
using HMODULE = HINSTANCE;
using HCURSOR = HICON;

// Windows on 64 bits has one calling convention, and Linux has its own.
#define WINAPI
#define CALLBACK

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
#define MAX_PATH 260
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)))
#define INFINITE 0xFFFFFFFFU

#define LOWORD(value) (static_cast<WORD>(static_cast<DWORD_PTR>(value) & 0xFFFFU))
#define HIWORD(value) (static_cast<WORD>((static_cast<DWORD_PTR>(value) >> 16U) & 0xFFFFU))
#define MAKELONG(low, high) \
    (static_cast<LONG>(static_cast<WORD>(low) | (static_cast<DWORD>(static_cast<WORD>(high)) << 16U)))
#define MAKEINTRESOURCEW(id) (reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(static_cast<WORD>(id))))

#define SUCCEEDED(result) (static_cast<HRESULT>(result) >= 0)
#define FAILED(result) (static_cast<HRESULT>(result) < 0)

struct GUID {
    DWORD Data1;
    WORD Data2;
    WORD Data3;
    BYTE Data4[8];
};
static_assert(sizeof(GUID) == 16);
using UUID = GUID;
using CLSID = GUID;
using IID = GUID;
using KNOWNFOLDERID = GUID;
using REFGUID = const GUID&;
using REFCLSID = const CLSID&;
using REFIID = const IID&;
using REFKNOWNFOLDERID = const KNOWNFOLDERID&;

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

union LARGE_INTEGER {
    __extension__ struct {
        DWORD LowPart;
        LONG HighPart;
    };
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    LONGLONG QuadPart;
};
using PLARGE_INTEGER = LARGE_INTEGER*;

struct POINT {
    LONG x;
    LONG y;
};

struct SIZE {
    LONG cx;
    LONG cy;
};

struct RECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

struct OVERLAPPED;
using LPOVERLAPPED = OVERLAPPED*;

// A wide literal: W("text").
#define W(text) u##text

#endif

using WideString = std::basic_string<WCHAR>;
