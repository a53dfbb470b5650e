// Where the layer keeps what it shares between processes.
#pragma once

#include <string>

namespace win32 {

// The session's directory for sockets and locks: a folder of ours below XDG_RUNTIME_DIR, or, without that, one of the
// user's own below the TMPDIR that he has chosen or /tmp. Made with mode 0700 when missing. Empty, with the last error
// set, if it can't be made or is not a directory that belongs to this user alone. No slash at its end.
std::string sessionDirectory();

// The same, with a folder `name` in it.
std::string sessionDirectory(const std::string& name);

// `usual`, a directory that the users of the machine share. In the tests' build WIN32_MACHINE_DIRECTORY stands in for
// it.
std::string machineDirectory(const char* usual);

// Makes `path` with its missing parents, each with `mode`; false with the last error set if it isn't there then.
bool makeDirectories(const std::string& path, unsigned mode);

// The user's home: HOME if it is absolute, else the password file's.
std::string homeDirectory();

// A base directory of freedesktop.org (XDG): the variable if it holds an absolute path, else `fallback` below the
// user's home.
std::string baseDirectory(const char* variable, const std::string& fallback);

// Where the user's temporary files are if he has chosen no directory for them; environment.h says why.
std::string ownTemporaryDirectory();

}  // namespace win32
