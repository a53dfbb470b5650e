// Between the wide text of the operations and the bytes that Linux takes.
//
// Both ways are total, and bytes come back as they were: one that isn't UTF-8 stands as the lone surrogate U+DC00 plus
// the byte, so that a file name in any encoding survives the round trip. So does the backslash of a file's name, which
// would be a separator otherwise. Wide text comes back as it was if it has no lone surrogates. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "win32/types.h"

namespace win32 {

std::string toBytes(std::u16string_view text);
WideString toWide(std::string_view bytes);

// The name of one file or directory.
WideString toWideName(std::string_view name);

// A path as Linux takes it: both separators become '/'.
std::string toNativePath(std::u16string_view path);

}  // namespace win32
