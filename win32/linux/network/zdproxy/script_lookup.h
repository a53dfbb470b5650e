// Proxy auto-configuration scripts.
#pragma once

#include <string>

#include "win32/types.h"

namespace zdproxy {

struct Lookup {
    DWORD code = 0;
    std::string proxies;  // "host:port;host:port"; empty for none
};

// Loads the script (http, https, file) and asks it for the proxies of `url`. With `logon` a server that wants to know
// the user is shown the user's Kerberos ticket.
Lookup runProxyScript(const std::string& script, const std::string& url, const std::string& userAgent, bool logon);

// The same with the script that the network offers.
Lookup detectProxies(const std::string& url, const std::string& userAgent, bool logon);

}  // namespace zdproxy
