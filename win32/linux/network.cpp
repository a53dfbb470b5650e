#include "win32/network.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "linux/errno_code.h"
#include "linux/ipv4_addresses.h"
#include "linux/scripted.h"

// The C library's own declarations of these names would be others, so the kernel is called by number.

namespace {

constexpr int closeOnExec = 02000000;

int numberOf(SOCKET socket) { return static_cast<int>(socket); }

int resultOf(long status) { return status == 0 ? 0 : (win32::failWithErrno(errno), SOCKET_ERROR); }

}  // namespace

DWORD WINAPI GetIpAddrTable(MIB_IPADDRTABLE* table, PULONG size, BOOL /*ordered*/) {
    WIN32_MAY_RETURN("GetIpAddrTable", DWORD);
    const auto addresses = win32::ipv4Addresses();
    if (!addresses) {
        return win32::codeOfErrno(errno);
    }
    const auto needed = static_cast<ULONG>(sizeof(DWORD) + addresses->size() * sizeof(MIB_IPADDRROW));
    const bool fits = *size >= needed;
    *size = needed;
    if (!fits) {
        return ERROR_INSUFFICIENT_BUFFER;
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
    return number < 0 ? (win32::failWithErrno(errno), INVALID_SOCKET) : static_cast<SOCKET>(number);
}

int WINAPI bind(SOCKET socket, const sockaddr* address, int size) {
    WIN32_MAY_FAIL("bind", SOCKET_ERROR);
    return resultOf(syscall(SYS_bind, numberOf(socket), address, size));
}

int WINAPI getsockname(SOCKET socket, sockaddr* address, int* size) {
    WIN32_MAY_FAIL("getsockname", SOCKET_ERROR);
    return resultOf(syscall(SYS_getsockname, numberOf(socket), address, size));
}

int WINAPI closesocket(SOCKET socket) {
    WIN32_MAY_FAIL("closesocket", SOCKET_ERROR);
    return resultOf(close(numberOf(socket)));
}

const CHAR* WINAPI inet_ntop(INT family, const void* address, CHAR* buffer, SIZE_T size) {
    WIN32_MAY_FAIL("inet_ntop", nullptr);
    std::array<unsigned char, 4> bytes{};
    std::memcpy(bytes.data(), address, bytes.size());
    const int length =
        family == AF_INET ? std::snprintf(buffer, size, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3]) : -1;
    if (length < 0 || static_cast<SIZE_T>(length) >= size) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return buffer;
}

USHORT WINAPI ntohs(USHORT number) { return static_cast<USHORT>((number << 8U) | (number >> 8U)); }
