// What the portal's dialog for files answers.
#pragma once

#include "linux/desktop/file_chooser.h"
#include "linux/support/dbus.h"

namespace win32 {

// Reads the signal org.freedesktop.portal.Request.Response: the first of the files chosen. Failed for what isn't one or
// names no local file.
FileDialogResult readPortalAnswer(sd_bus_message* signal);

}  // namespace win32
