// What phones say of themselves: no text of a phone's makes its path another's, or one that can't be read.
#include "linux/devices/device_identity.h"

#include <algorithm>

#include "base/text.h"
#include "device/enumeration.h"
#include "fuzz.h"

namespace {

const WideString tail = W("#{6ac27878-a6fa-4155-ba85-f98f491d4f33}");

win32::PortableDevice identify(fuzz::Parts& parts, const char* port, std::set<std::string>& claims) {
    constexpr const char* usual = "18d1";
    win32::DeviceFacts facts;
    const std::uint8_t kind = parts.byte();
    facts.systemPath = std::string("/sys/devices/usb1/") + port;
    facts.nodeName = port;
    facts.vendor = (kind & 1U) == 0 ? usual : parts.text();
    facts.product = (kind & 2U) == 0 ? usual : parts.text();
    facts.interfaceCount = (kind & 4U) == 0 ? " 1" : " 2";
    facts.deviceEvent = (kind & 8U) == 0 ? "" : parts.text();
    facts.serial = parts.text();
    win32::PortableDevice device = win32::identify(facts, claims);
    const WideString& path = device.interfacePath;
    fuzz::require(path.starts_with(W("\\\\?\\usb#")) && path.ends_with(tail), "a path of an interface");
    fuzz::require(std::count(path.begin(), path.end(), W('#')) == 3, "of three parts and its class");
    fuzz::require(std::none_of(path.begin(), path.end(), [](WCHAR c) { return c <= W(' ') || c == W('/'); }),
                  "visible");
    const auto ids = device::parseVidPid(path);
    fuzz::require((kind & 3U) != 0 || (ids.valid && ids.vendor == 0x18D1 && ids.product == 0x18D1), "its own numbers");
    return device;
}

}  // namespace

FUZZ_TARGET(device_identity) {
    std::set<std::string> claims;
    std::vector<WideString> paths;
    fuzz::Parts parts(input);
    for (const char* const port : {"1-1", "1-2", "1-3"}) {
        WideString path = identify(parts, port, claims).interfacePath;
        fuzz::require(std::ranges::find(paths, path) == paths.end(), "each device is one of its own");
        paths.push_back(std::move(path));
    }
}
