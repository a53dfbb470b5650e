// The environment of this program, and the one that programs get which it starts.
//
// libcurl takes a proxy from the environment whenever it is told none, so a program whose user chose "no proxy" must
// not have these variables. They are taken out of the process's own environment before main begins, and so before any
// thread, and kept for the programs that it starts.
//
// Everybody may write /tmp, and somebody else could be first there with a name of ours. As on Windows, where each user
// has a temporary directory, TMPDIR names one of the user's own, made with mode 0700 in XDG_CACHE_HOME, from before
// main on; not for the programs that this one starts, and not if the user has chosen a directory by one of the
// variables that are usual for it, or if the user's own can't be made.
#pragma once

#include <string>
#include <vector>

namespace win32 {

// "NAME=value" each: the process's own environment as it is now, without a TMPDIR that it gave itself, and the kept
// variables that aren't in it. Any thread, while no other one changes the environment.
std::vector<std::string> childEnvironment();

}  // namespace win32
