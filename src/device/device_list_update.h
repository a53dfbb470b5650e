// Where the device lists come from: the download server, by way of the cached GET, or the copy packaged beside the
// program, whichever has the higher revision.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "data/value.h"
#include "net/http_request.h"

namespace device {

enum class DeviceListKind : std::uint8_t { Supported, Unsupported };

// The https address of the download server, without a trailing slash. Any thread.
std::string downloadBaseUrl();
void setDownloadBaseUrl(const std::string& url);

// Which of the server's environments a service uses: 1 production, 2 sandbox, 3 stage. Without an entry it is
// production; the lists' service is 0. Any thread.
void setDeviceListServerEnvironment(std::uint32_t service, std::uint32_t environment);

std::string deviceListUrl(DeviceListKind kind);

// What the last update of a list found.
struct DeviceListStatus {
    std::string text;
    std::string localRevision;  // empty until both copies were there to compare
    std::string serverRevision;
};

struct DeviceListText {
    std::vector<std::uint8_t> bytes;  // of the document to use; empty if there is none
    std::optional<data::Value> tree;  // the document parsed, if that was needed to choose it
    bool fresh = false;               // whether the list is sure to be the server's present one or better
};

// Of the server's document and the packaged one, the one with the higher revision; of two of the same age, and where
// the other is absent, the server's. It keeps the server's `fresh`.
DeviceListText newerDeviceList(DeviceListText server, std::vector<std::uint8_t> local, DeviceListStatus& status);

// Blocks for as long as the request takes, or until `cancelFlag` is set. The revisions in `status` stay where nothing
// was compared. Any thread.
DeviceListText fetchDeviceList(DeviceListKind kind, DeviceListStatus& status, const base::CancelWord* cancelFlag);

}  // namespace device
