// The documents that name the phones of the suite, and the rule by which a device is matched against them.
//
// Both documents have the root element `device-set` with `Revision-version` and `devices/device`. In the supported
// list each `device` holds `variants/variant`, and each of those an `identification` with `vendorID`, `productID`
// (hexadecimal) and `typeID`, and `brztsupport`. In the unsupported list a `device` is plain text. A single element
// and a repeated one are taken alike. Documents come parsed. All functions are free of state; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "data/value.h"

namespace device {

struct SupportedDevice {
    std::uint32_t vendorID = 0;
    std::uint32_t productID = 0;
    std::string typeID;
    bool brztsupport = false;
};

// The entries of a supported list, in document order; none for one that didn't parse. An entry whose
// vendor is 0 is noted on the standard output and goes in all the same.
std::vector<SupportedDevice> supportedEntries(const data::Value& document);

// The entries of an unsupported list; one empty entry for one that didn't parse.
std::vector<std::string> unsupportedEntries(const data::Value& document);

// The revision of a parsed document of either kind; 0 if it names none.
std::int64_t deviceListRevision(const data::Value& document);

// Whether an entry has the vendor in full and the product in its low 12 bits.
bool deviceMatchesFilter(const std::vector<SupportedDevice>& list, std::uint32_t vendor, std::uint32_t product);

// The truth of a value: a number other than 0, true, or the text "true", "yes" or "1" in any case.
bool valueIsTrue(const data::Value& value);

}  // namespace device
