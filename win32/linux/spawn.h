// Starting programs.
#pragma once

#include <string>
#include <vector>

namespace win32 {

// Starts the program (a path, or a name that is searched in PATH) with the arguments behind its name, in a session of
// its own, with no descriptor of ours, /dev/null as its standard streams, default signals, and `directory` as working
// directory if that isn't empty. When it ends it leaves no zombie. Gives 0 or an error number of errno.
int spawnDetached(const std::string& program, const std::vector<std::string>& arguments, const std::string& directory);

}  // namespace win32
