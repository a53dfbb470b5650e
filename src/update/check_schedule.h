// When the server is queried for updates.
#pragma once

#include "settings/app_settings.h"
#include "win32/types.h"

namespace base {

// In milliseconds.
struct CheckSchedule {
    UINT first;  // after the start; another for each, so that the computers of an office don't come at once
    UINT interval;
};

// Every six hours, or every minute where the configuration asks for the system test's intervals.
CheckSchedule updateCheckSchedule(const dockset::AppSettings& settings);

}  // namespace base
