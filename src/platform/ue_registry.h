// Where the registry describes the Update Engine.
#pragma once

#include <string>
#include <vector>

#include "win32/registry.h"

namespace dockset {

struct UEKey {
    std::vector<const WCHAR*> paths;  // below the user's hive, then the machine's; the first that opens counts
    const WCHAR* value;               // null: the default one
    REGSAM access;
    const char* purpose;  // for the log
};

struct UEValue {
    WideString path;     // of an existing file that is no directory, else empty
    std::string status;  // "NOPATH", "HKCU" or "HKLM", the latter two with " QUERYFAIL" or " EMPTY" behind them
};

// Logs failures under "PlatformWin32". Any thread.
UEValue readUEValue(const UEKey& key);

}  // namespace dockset
