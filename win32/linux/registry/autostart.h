// The desktop's autostart entries (freedesktop.org, Desktop Application Autostart).
#pragma once

#include <string>

namespace win32 {

// Makes the entry `name` start the program and arguments of a Windows command line at logon. False with errno set.
bool writeAutostartEntry(const std::string& name, const std::string& commandLine);

// True if no entry `name` is there afterwards, else false with errno set.
bool removeAutostartEntry(const std::string& name);

}  // namespace win32
