// The machine's own addresses, and a socket to find a free port with (IPv4).
//
// GetIpAddrTable: the addresses of all interfaces that are up, by their numbers if `ordered`; *size in bytes is the
// buffer's size and then what the table takes. Gives 0 or the error code, ERROR_INSUFFICIENT_BUFFER among them. On
// Linux every address is one that stays (no flags). socket, bind, getsockname, closesocket: as in Berkeley's interface;
// INVALID_SOCKET and SOCKET_ERROR are failure, with one of the WSAE codes as the last error. Only AF_INET with
// SOCK_STREAM. inet_ntop: AF_INET only, null if the buffer is too small. Any thread. Windows wants its library of
// sockets started first, which libcurl's own start does.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifdef _WIN32

#include <iphlpapi.h>
#include <ws2tcpip.h>

#else

using SOCKET = UINT_PTR;
using PULONG = ULONG*;

#define INVALID_SOCKET (~static_cast<SOCKET>(0))
#define SOCKET_ERROR (-1)
#define AF_INET 2
#define SOCK_STREAM 1
#define IPPROTO_TCP 6
#define INADDR_ANY 0U

#define WSAEACCES 10013
#define WSAEFAULT 10014
#define WSAEINVAL 10022
#define WSAEMFILE 10024
#define WSAENOTSOCK 10038
#define WSAEPROTONOSUPPORT 10043
#define WSAESOCKTNOSUPPORT 10044
#define WSAEAFNOSUPPORT 10047
#define WSAEADDRINUSE 10048
#define WSAEADDRNOTAVAIL 10049
#define WSAENOBUFS 10055

struct sockaddr {
    USHORT sa_family;
    CHAR sa_data[14];
};

struct in_addr {
    union {
        ULONG s_addr;
    };
};

struct sockaddr_in {
    USHORT sin_family;
    USHORT sin_port;
    in_addr sin_addr;
    CHAR sin_zero[8];
};
static_assert(sizeof(sockaddr_in) == 16);

struct MIB_IPADDRROW {
    DWORD dwAddr;
    DWORD dwIndex;
    DWORD dwMask;
    DWORD dwBCastAddr;
    DWORD dwReasmSize;
    USHORT unused1;
    USHORT wType;
};
static_assert(sizeof(MIB_IPADDRROW) == 24);

struct MIB_IPADDRTABLE {
    DWORD dwNumEntries;
    MIB_IPADDRROW table[1];
};

#define MIB_IPADDR_DISCONNECTED 0x08
#define MIB_IPADDR_DELETED 0x40
#define MIB_IPADDR_TRANSIENT 0x80

// Their names belong to the C library, so to the linker they are others.
#define WIN32_LINKED_AS(name) __asm__(name)

extern "C" {
DWORD WINAPI GetIpAddrTable(MIB_IPADDRTABLE* table, PULONG size, BOOL ordered);
SOCKET WINAPI socket(int family, int type, int protocol) WIN32_LINKED_AS("win32_socket");
int WINAPI bind(SOCKET socket, const sockaddr* address, int size) WIN32_LINKED_AS("win32_bind");
int WINAPI getsockname(SOCKET socket, sockaddr* address, int* size) WIN32_LINKED_AS("win32_getsockname");
int WINAPI closesocket(SOCKET socket);
const CHAR* WINAPI inet_ntop(INT family, const void* address, CHAR* buffer, SIZE_T size)
    WIN32_LINKED_AS("win32_inet_ntop");
USHORT WINAPI ntohs(USHORT number) WIN32_LINKED_AS("win32_ntohs");
}

#endif
