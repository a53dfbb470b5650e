#include "win32/identifier.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"

RPC_STATUS WINAPI UuidCreate(UUID* uuid) {
    WIN32_MAY_RETURN("UuidCreate", RPC_STATUS);
    if (getrandom(uuid, sizeof *uuid, 0) != static_cast<ssize_t>(sizeof *uuid)) {
        return static_cast<RPC_STATUS>(win32::codeOfErrno(errno));
    }
    uuid->Data3 = static_cast<WORD>((uuid->Data3 & 0x0FFFU) | 0x4000U);
    uuid->Data4[0] = static_cast<BYTE>((uuid->Data4[0] & 0x3FU) | 0x80U);
    return RPC_S_OK;
}

RPC_STATUS WINAPI UuidToStringA(const UUID* uuid, RPC_CSTR* text) {
    WIN32_MAY_RETURN("UuidToStringA", RPC_STATUS);
    constexpr std::size_t size = 37;
    auto* const buffer = static_cast<char*>(std::malloc(size));
    if (buffer == nullptr) {
        return RPC_S_OUT_OF_MEMORY;
    }
    const BYTE* const tail = uuid->Data4;
    std::snprintf(buffer, size, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", uuid->Data1, uuid->Data2,
                  uuid->Data3, tail[0], tail[1], tail[2], tail[3], tail[4], tail[5], tail[6], tail[7]);
    *text = reinterpret_cast<RPC_CSTR>(buffer);
    return RPC_S_OK;
}

RPC_STATUS WINAPI RpcStringFreeA(RPC_CSTR* text) {
    std::free(*text);
    *text = nullptr;
    return RPC_S_OK;
}
