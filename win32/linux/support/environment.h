// The environment that programs get which this one starts.
//
// libcurl takes a proxy from the environment whenever it is told none, so a program whose user chose "no proxy" must
// not have these variables. They are taken out of the process's own environment before main begins, and so before any
// thread, and kept for the programs that it starts.
#pragma once

#include <string>
#include <vector>

namespace win32 {

// "NAME=value" each: the process's own environment as it is now and the kept variables that aren't in it. Any thread,
// while no other one changes the environment.
std::vector<std::string> childEnvironment();

}  // namespace win32
