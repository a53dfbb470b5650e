// Named pipes in message mode. A path is "\\.\pipe\NAME"; the case of its ASCII letters doesn't matter.
//
// The client's end: CreateFileW (win32/file.h) opens it. ERROR_FILE_NOT_FOUND: no server. ERROR_PIPE_BUSY: every
// instance serves somebody. ERROR_ACCESS_DENIED: the server is of another user and not of root.
// WaitNamedPipeW: true when an instance may be free now; false with ERROR_FILE_NOT_FOUND if there is no server, with
// ERROR_SEM_TIMEOUT after `milliseconds` (at least 1; the two special values count as 50 ms and for ever).
// SetNamedPipeHandleState: PIPE_READMODE_MESSAGE or PIPE_READMODE_BYTE, the other two settings null. The handle wants
// GENERIC_WRITE for it.
// WriteFile sends one message, 1 to about 400,000 bytes; ERROR_NO_DATA when the other end is gone. ReadFile gives one
// message or, with ERROR_MORE_DATA, the part that fits, and the rest on the next reads (in byte mode without that
// error); ERROR_BROKEN_PIPE when the other end is gone and nothing is left to read. An instance without a client gives
// ERROR_PIPE_LISTENING, and after DisconnectNamedPipe ERROR_PIPE_NOT_CONNECTED. Any thread; reads of one handle take
// turns.
//
// The server's end: CreateNamedPipeW makes an instance that serves one client at a time and takes the first one from
// then on. Duplex and message mode only; buffer sizes, default time-out and security are not looked at.
// ERROR_ACCESS_DENIED with FILE_FLAG_FIRST_PIPE_INSTANCE if the pipe exists, ERROR_PIPE_BUSY beyond `instances`.
// ConnectNamedPipe waits for a client; false with ERROR_PIPE_CONNECTED if it is there already, ERROR_NO_DATA if it has
// gone and DisconnectNamedPipe is still due, or when the handle is closed meanwhile. Clients of other users are turned
// away, but by a server of root. After DisconnectNamedPipe the instance is taken until the next ConnectNamedPipe.
// FlushFileBuffers waits until the client has read everything or is gone.
//
// Where a pipe lives: in the user's session; a process of root without XDG_RUNTIME_DIR, so a service of the system,
// serves in the machine-wide directory instead. Clients look in the session first, then in the machine-wide directory.
#pragma once

#include "win32/error.h"
#include "win32/file.h"
#include "win32/kernel.h"
#include "win32/types.h"

#ifndef _WIN32

#define PIPE_ACCESS_DUPLEX 0x3U
#define FILE_FLAG_FIRST_PIPE_INSTANCE 0x00080000U

#define PIPE_WAIT 0x0U
#define PIPE_READMODE_BYTE 0x0U
#define PIPE_READMODE_MESSAGE 0x2U
#define PIPE_TYPE_MESSAGE 0x4U
#define PIPE_UNLIMITED_INSTANCES 255U

#define NMPWAIT_USE_DEFAULT_WAIT 0x0U
#define NMPWAIT_WAIT_FOREVER 0xFFFFFFFFU

extern "C" {
BOOL WINAPI WaitNamedPipeW(LPCWSTR path, DWORD milliseconds);
BOOL WINAPI SetNamedPipeHandleState(HANDLE pipe, LPDWORD mode, LPDWORD collectCount, LPDWORD collectTimeout);
HANDLE WINAPI CreateNamedPipeW(LPCWSTR path, DWORD openMode, DWORD pipeMode, DWORD instances, DWORD outSize,
                               DWORD inSize, DWORD defaultTimeout, LPSECURITY_ATTRIBUTES security);
BOOL WINAPI ConnectNamedPipe(HANDLE pipe, LPOVERLAPPED overlapped);
BOOL WINAPI DisconnectNamedPipe(HANDLE pipe);
}

#endif
