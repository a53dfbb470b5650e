// The client's end of a named pipe, as CreateFileW opens it.
#pragma once

#include <string_view>

#include "win32/types.h"

namespace win32 {

// `name` is the whole path, "\\.\pipe\" included; `access` as CreateFileW takes it. INVALID_HANDLE_VALUE with the
// last error set is failure.
HANDLE openPipe(std::u16string_view name, DWORD access);

}  // namespace win32
