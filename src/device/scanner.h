// The scanner: the thread that notices a phone's arrival and starts the main application.
#pragma once

#include <atomic>
#include <memory>

#include "settings/app_settings.h"

namespace device {

// What the main thread gives the scanner; it must outlive the thread.
struct ScannerContext {
    std::shared_ptr<dockset::AppSettings> settings;
    std::atomic<bool> stopFlag{false};  // set once, by the main thread
};

// The thread's body. Scans the connected devices, then every two seconds again; a device that wasn't there at the
// scan before is an arrival and starts the main application, once a scan, if the user's setting allows it. Returns
// when it sees stopFlag, at the latest after one pause and one scan, or at once if COM can't be entered.
void scannerMain(ScannerContext& context);

}  // namespace device
