// The bytes below a stream.
#pragma once

#include <span>

#include "win32/resource.h"

namespace win32 {

// `stream` is one of CreateStreamOnHGlobal: there are no others.
std::span<const BYTE> bytesOf(IStream* stream);

}  // namespace win32
