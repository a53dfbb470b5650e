#include "win32/network.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "linux/network/ipv4_addresses.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"

// The C library's own declarations of these names would be others, so the kernel is called by number.

namespace {

constexpr int closeOnExec = 02000000;

int numberOf(SOCKET socket) { return static_cast<int>(socket); }

// Sockets have codes of their own.
DWORD socketCode(int error) {
    switch (error) {
        case EBADF:
        case ENOTSOCK:
            return WSAENOTSOCK;
        case EACCES:
            return WSAEACCES;
        case EFAULT:
            return WSAEFAULT;
        case EINVAL:
            return WSAEINVAL;
        case EMFILE:
        case ENFILE:
            return WSAEMFILE;
        case EPROTONOSUPPORT:
            return WSAEPROTONOSUPPORT;
        case ESOCKTNOSUPPORT:
            return WSAESOCKTNOSUPPORT;
        case EAFNOSUPPORT:
            return WSAEAFNOSUPPORT;
        case EADDRINUSE:
            return WSAEADDRINUSE;
        case EADDRNOTAVAIL:
            return WSAEADDRNOTAVAIL;
        default:
            return WSAENOBUFS;
    }
}

int failWith(DWORD code) {
    SetLastError(code);
    return SOCKET_ERROR;
}

int resultOf(long status) { return status == 0 ? 0 : failWith(socketCode(errno)); }

bool isSocket(SOCKET socket) {
    constexpr int level = 1;
    constexpr int typeOption = 3;
    int type = 0;
    unsigned size = sizeof type;
    return syscall(SYS_getsockopt, numberOf(socket), level, typeOption, &type, &size) == 0;
}

}  // namespace

DWORD WINAPI GetIpAddrTable(MIB_IPADDRTABLE* table, PULONG size, BOOL ordered) {
    WIN32_MAY_RETURN("GetIpAddrTable", DWORD);
    if (size == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    auto addresses = win32::ipv4Addresses();
    if (!addresses) {
        return win32::codeOfErrno(errno);
    }
    const auto needed = static_cast<ULONG>(sizeof(DWORD) + addresses->size() * sizeof(MIB_IPADDRROW));
    const bool fits = table != nullptr && *size >= needed;
    *size = needed;
    if (!fits) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    if (ordered != FALSE) {
        std::sort(addresses->begin(), addresses->end(), [](const auto& a, const auto& b) {
            return std::memcmp(&a.address, &b.address, sizeof a.address) < 0;
        });
    }
    table->dwNumEntries = 0;
    for (const auto& [address, mask, index] : *addresses) {
        table->table[table->dwNumEntries++] = {address, index, mask, 1, 65535, 0, 0};
    }
    return NO_ERROR;
}

SOCKET WINAPI socket(int family, int type, int protocol) {
    WIN32_MAY_FAIL("socket", INVALID_SOCKET);
    const long number = syscall(SYS_socket, family, type | closeOnExec, protocol);
    return number < 0 ? (SetLastError(socketCode(errno)), INVALID_SOCKET) : static_cast<SOCKET>(number);
}

int WINAPI bind(SOCKET socket, const sockaddr* address, int size) {
    WIN32_MAY_FAIL("bind", SOCKET_ERROR);
    const bool isWhole = address != nullptr && size >= static_cast<int>(sizeof(sockaddr_in));
    return isSocket(socket) && !isWhole ? failWith(WSAEFAULT)
                                        : resultOf(syscall(SYS_bind, numberOf(socket), address, size));
}

int WINAPI getsockname(SOCKET socket, sockaddr* address, int* size) {
    WIN32_MAY_FAIL("getsockname", SOCKET_ERROR);
    if (address == nullptr || size == nullptr || *size < static_cast<int>(sizeof(sockaddr_in))) {
        return failWith(isSocket(socket) ? WSAEFAULT : WSAENOTSOCK);
    }
    sockaddr_in own{};
    unsigned length = sizeof own;
    const int result = resultOf(syscall(SYS_getsockname, numberOf(socket), &own, &length));
    if (result == 0 && own.sin_port == 0) {
        return failWith(WSAEINVAL);  // not bound
    }
    if (result == 0) {
        std::memcpy(address, &own, sizeof own);
        *size = static_cast<int>(length);
    }
    return result;
}

int WINAPI closesocket(SOCKET socket) {
    WIN32_MAY_FAIL("closesocket", SOCKET_ERROR);
    return resultOf(isSocket(socket) ? close(numberOf(socket)) : -1);
}

const CHAR* WINAPI inet_ntop(INT family, const void* address, CHAR* buffer, SIZE_T size) {
    WIN32_MAY_FAIL("inet_ntop", nullptr);
    if (family != AF_INET || address == nullptr || buffer == nullptr) {
        SetLastError(family != AF_INET ? WSAEAFNOSUPPORT : ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    std::array<unsigned char, 4> bytes{};
    std::memcpy(bytes.data(), address, bytes.size());
    const int length = std::snprintf(buffer, size, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]);
    if (static_cast<SIZE_T>(length) >= size) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return buffer;
}

USHORT WINAPI ntohs(USHORT number) { return static_cast<USHORT>((number << 8U) | (number >> 8U)); }
