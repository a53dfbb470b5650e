// What the agent makes of the phones that are connected, for somebody who wonders why one isn't recognised.
#pragma once

#include "data/value.h"

namespace device {

// Scans once. An Object: `acceptUnrecognizedDevices`; `supportedList`, with its `revision`, its number of `entries` and
// the `status` of its download; `devices`, for each its `path`, its `instanceId` and the `carriers` that carry it,
// whether it is `supported` by the list, and whether it `counts` as a phone whose arrival starts the main application.
// The list of unsupported devices takes no part in that. Fetches as the agent does, through globalHttpHandler(). Must
// run on a thread that has entered the multithreaded apartment, in a process without a scanner.
data::Value describeDevices();

}  // namespace device
