// The program zdproxy, in which proxies are looked up so that no script engine and none of its troubles are in here.
//
// Its arguments: "config", or "script ADDRESS-OF-SCRIPT URL USER-AGENT", or "detect URL USER-AGENT", the last two with
// "logon" behind them if the user's own ticket may be tried. It answers with lines: an error code, 0 for success, then
// for "config" the four of a WINHTTP_CURRENT_USER_IE_PROXY_CONFIG (0 or 1, script, proxies, bypass), for the others the
// one of the proxies; at last "end".
#pragma once

#include <string>
#include <vector>

#include "win32/types.h"

namespace win32 {

struct ProxyHelperReply {
    DWORD code;
    std::vector<std::string> lines;  // as many as asked for if the code is 0, else none
};

// Starts the program and waits for its `lines` lines, but no longer than until the descriptor `cancellation` can be
// read, if it isn't negative. When it returns, the program is gone. Any thread.
ProxyHelperReply runProxyHelper(const std::vector<std::string>& arguments, std::size_t lines, int cancellation = -1);

// What the program's answer says, of which `lines` lines are asked for; ERROR_WINHTTP_AUTO_PROXY_SERVICE_ERROR for what
// isn't one.
ProxyHelperReply parseProxyReply(const std::string& text, std::size_t lines);

}  // namespace win32
