// From the error numbers of Linux to those of the operations.
#pragma once

#include <string>

#include "win32/types.h"

namespace win32 {

// The Windows code that says the same as the `errno` value; ERROR_GEN_FAILURE if none does.
DWORD codeOfErrno(int error);

// Sets the last error to that code; gives false, so that an operation can return it.
bool failWithErrno(int error);

// The same for an operation on a file: where `path` leads nowhere, Windows tells a missing directory from a missing
// file, Linux doesn't.
bool failWithErrno(int error, const std::string& path);

}  // namespace win32
