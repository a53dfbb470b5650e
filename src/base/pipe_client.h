// The suite's processes talk over named pipes: one short text as request, one as reply, one connection for both.
//
// A message is one UTF-16 little-endian text with its zero character, in a pipe of message mode. Words and arguments
// are divided by blanks; an argument that may hold blanks stands in double quotes, and nothing escapes a quote.
#pragma once

#include "win32/types.h"

namespace base {

// Requests to the main application.
inline constexpr const WCHAR* quitMessage = W("QUIT");
inline constexpr const WCHAR* showWindowMessage = W("SHOW_WINDOW");

// Requests to the background service.
inline constexpr const WCHAR* usbResetStartMessage = W("USB_RESET_START");
inline constexpr const WCHAR* usbResetStopMessage = W("USB_RESET_STOP");
inline constexpr const WCHAR* usbResetPollRunningMessage = W("USB_RESET_POLL_RUNNING");
inline constexpr const WCHAR* updateEngineInstallMessage = W("UE_INSTALL");
inline constexpr const WCHAR* updateEngineDriverInstallMessage = W("UE_DRIVER_INSTALL");
inline constexpr const WCHAR* updateEnginePollResultMessage = W("UE_POLL_RESULT");

// Replies.
inline constexpr const WCHAR* successReply = W("SUCCESS");
inline constexpr const WCHAR* failureReply = W("FAILURE");

// Sends `message` to the server of `pipeName` and waits for its reply, which goes to `reply` unless that is null.
// True if the message was written and a whole reply was read; else the cause is logged and `reply` is unchanged.
// Waits 20 seconds at a time for a busy pipe, and for the reply as long as the server keeps the pipe open. Any thread.
bool sendPipeMessage(const WideString& pipeName, const WideString& message, WideString* reply);

}  // namespace base
