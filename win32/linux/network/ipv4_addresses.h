// The IPv4 addresses of the machine.
#pragma once

#include <optional>
#include <vector>

#include "win32/types.h"

namespace win32 {

struct Ipv4Address {
    DWORD address;  // both in the order of the network
    DWORD mask;
    DWORD index;  // of the interface
};

// None with errno set.
std::optional<std::vector<Ipv4Address>> ipv4Addresses();

}  // namespace win32
