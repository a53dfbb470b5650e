// The paths of devices, in which the phones' makers have put their own texts.
#include <array>
#include <cstdio>

#include "base/text.h"
#include "device/enumeration.h"
#include "fuzz.h"

FUZZ_TARGET(device_path) {
    fuzz::Parts parts(input);
    const unsigned vendor = parts.byte() * 256U + parts.byte();
    const unsigned product = parts.byte() * 256U + parts.byte();
    const WideString rest = base::widen(parts.rest());
    device::parseVidPid(rest);
    std::array<char, 32> ids{};
    std::snprintf(ids.data(), ids.size(), "\\\\?\\usb#vid_%04x&pid_%04x", vendor, product);
    const auto read = device::parseVidPid(base::widen(ids.data()) + W("#") + rest);
    fuzz::require(read.valid && read.vendor == vendor && read.product == product, "the head of the path counts");
}
