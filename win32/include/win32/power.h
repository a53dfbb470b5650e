// Keeping the machine awake.
//
// PowerCreateRequest makes a request that asks for nothing yet; INVALID_HANDLE_VALUE on failure. The reason is shown by
// the system's tools and may be empty. PowerSetRequest with PowerRequestSystemRequired keeps the machine from sleeping,
// while the display may go dark, until PowerClearRequest has been called as often, or the handle is closed, or the
// process ends in whatever way. On Linux this is logind's inhibitor of "sleep": ERROR_NOT_SUPPORTED without logind or a
// system bus, ERROR_ACCESS_DENIED if the user may not, ERROR_TIMEOUT if it doesn't answer in 5 seconds. Any thread.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifndef _WIN32

struct REASON_CONTEXT {
    ULONG Version;
    DWORD Flags;
    union {
        struct {
            HMODULE LocalizedReasonModule;
            ULONG LocalizedReasonId;
            ULONG ReasonStringCount;
            LPWSTR* ReasonStrings;
        } Detailed;
        LPWSTR SimpleReasonString;
    } Reason;
};
static_assert(sizeof(REASON_CONTEXT) == 32);

#define POWER_REQUEST_CONTEXT_VERSION 0U
#define POWER_REQUEST_CONTEXT_SIMPLE_STRING 1U

enum POWER_REQUEST_TYPE {
    PowerRequestDisplayRequired,
    PowerRequestSystemRequired,
    PowerRequestAwayModeRequired,
    PowerRequestExecutionRequired,
};

extern "C" {
HANDLE WINAPI PowerCreateRequest(REASON_CONTEXT* context);
BOOL WINAPI PowerSetRequest(HANDLE request, POWER_REQUEST_TYPE type);
BOOL WINAPI PowerClearRequest(HANDLE request, POWER_REQUEST_TYPE type);
}

#endif
