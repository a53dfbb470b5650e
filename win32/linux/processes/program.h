// Which program a call means, and whether the user may run it.
#pragma once

#include <string>

#include "linux/processes/child.h"
#include "win32/types.h"

namespace win32 {

// The absolute path of the program at `path` (native form), which carries no ".exe" here.
std::string absoluteProgram(const std::string& path);

// The program that a bare name means: the first in PATH. With a separator in it it is a path.
std::string searchProgram(const std::string& name);

// Starts it; else null with the last error set. Any thread.
std::shared_ptr<Child> startProgram(const Child::Program& program);

// Starts it with root's rights, for which the desktop asks the user, and returns once the answer is there. Null with
// ERROR_CANCELLED if the user said no, ERROR_ACCESS_DENIED if there is nobody to ask or no right to be had,
// ERROR_NOT_SUPPORTED without pkexec.
std::shared_ptr<Child> startElevated(const Child::Program& program);

// A handle on it, or on a process of others by its number.
HANDLE openChild(const std::shared_ptr<Child>& child);

}  // namespace win32
