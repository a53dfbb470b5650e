// The background service's part in installing the Update Engine: it has the rights that the driver needs.
#pragma once

#include <cstdint>
#include <string>

#include "win32/types.h"

namespace dockset {

struct UEServiceResult {
    bool installed = false;
    std::string information;  // what the service says, or which step failed
    std::int32_t code = -1;   // the driver installation's; 0 is success
};

// Asks the service to install the driver and waits for its result, up to ten minutes. Logs failures under
// "PlatformWin32". Any thread.
UEServiceResult installByService(const WideString& installerPath, const WideString& servicePath);

}  // namespace dockset
