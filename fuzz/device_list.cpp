// The lists of phones: which one counts, what it holds, and that its phones are found in it.
#include "device/device_list.h"

#include <iostream>

#include "data/xml_value.h"
#include "device/device_list_update.h"
#include "fuzz.h"

namespace {

constexpr std::string_view packaged =
    "<device-set><Revision-version>5</Revision-version><devices><device>a</device></devices></device-set>";

}  // namespace

FUZZ_TARGET(device_list) {
    std::cout.setstate(std::ios::failbit);  // on which the readers note what lacks its vendor
    device::DeviceListStatus status;
    device::DeviceListText server;
    server.bytes.assign(input.begin(), input.end());
    const auto chosen = device::newerDeviceList(server, {packaged.begin(), packaged.end()}, status);
    const data::Value tree = data::parseXml(chosen.bytes.data(), chosen.bytes.size());
    fuzz::require(device::deviceListRevision(tree) >= 5, "no list older than the packaged one counts");
    const data::Value document = data::parseXml(input.data(), input.size());
    const auto supported = device::supportedEntries(document);
    for (const device::SupportedDevice& entry : supported) {
        fuzz::require(device::deviceMatchesFilter(supported, entry.vendorID, entry.productID), "an entry is a match");
    }
    fuzz::require(supported.size() * 4 <= input.size(), "an entry stands somewhere in the document");
    fuzz::require(!device::unsupportedEntries(document).empty(), "one empty entry where there is none");
}
