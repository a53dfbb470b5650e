#include "linux/network/ipv4_addresses.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

#include <memory>

namespace win32 {

namespace {

DWORD numberOf(const sockaddr* address) {
    return address == nullptr ? 0 : reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr;
}

}  // namespace

std::optional<std::vector<Ipv4Address>> ipv4Addresses() {
    ifaddrs* first = nullptr;
    if (getifaddrs(&first) != 0) {
        return std::nullopt;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(first, freeifaddrs);
    std::vector<Ipv4Address> addresses;
    for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET && (each->ifa_flags & IFF_UP) != 0) {
            addresses.push_back(
                {numberOf(each->ifa_addr), numberOf(each->ifa_netmask), if_nametoindex(each->ifa_name)});
        }
    }
    return addresses;
}

}  // namespace win32
