// The user's proxy settings as the desktop keeps them.
#pragma once

#include <string>

namespace zdproxy {

struct SystemSettings {
    bool autoDetect = false;
    std::string script;   // its address
    std::string proxies;  // "http=host:port;https=host:port;socks=host:port"
    std::string bypass;   // "localhost;*.example.org"
};

// Those of the desktop that XDG_CURRENT_DESKTOP names; those of the environment if that one keeps none.
SystemSettings readSystemSettings();

}  // namespace zdproxy
