// Random identifiers (RFC 4122, version 4).
//
// UuidCreate gives RPC_S_OK; on Linux it fails only when the kernel gives no random bytes, with the code of that.
// UuidToStringA gives the usual 36 lower-case characters; the caller frees them with RpcStringFreeA. Any thread.
#pragma once

#include "win32/types.h"

#ifdef _WIN32

#include <rpc.h>

#else

using RPC_STATUS = LONG;
using RPC_CSTR = unsigned char*;

#define RPC_S_OK 0
#define RPC_S_OUT_OF_MEMORY 14
#define RPC_S_UUID_LOCAL_ONLY 1824

extern "C" {
RPC_STATUS WINAPI UuidCreate(UUID* uuid);
RPC_STATUS WINAPI UuidToStringA(const UUID* uuid, RPC_CSTR* text);
RPC_STATUS WINAPI RpcStringFreeA(RPC_CSTR* text);
}

#endif
