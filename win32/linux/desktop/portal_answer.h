// What the portal's dialog for files answers.
#pragma once

#include <string>

struct sd_bus_message;

namespace win32 {

struct FileDialogResult {
    enum class Outcome { failed, cancelled, chosen };
    Outcome outcome = Outcome::failed;
    std::string path{};
};

// Reads the signal org.freedesktop.portal.Request.Response: the first of the files chosen. Failed for what isn't one or
// names no local file.
FileDialogResult readPortalAnswer(sd_bus_message* signal);

}  // namespace win32
