// Text of the system is UTF-8 in logs, configuration and data, and UTF-16 on the screen and in what the operating
// system takes. Any thread.
#pragma once

#include <string>
#include <string_view>

#include "win32/types.h"

namespace base {

using WideView = std::basic_string_view<WCHAR>;

// UTF-16 to UTF-8. Lone surrogates are kept as the three bytes that they would have, so that no text is lost.
std::string narrow(WideView text);

// UTF-8 to UTF-16. Each byte that isn't part of a well-formed sequence becomes U+FFFD.
WideString widen(std::string_view text);

// Each byte as a unit of its own, for what is ASCII by contract.
WideString widenBytes(std::string_view text);

// Folds each code unit to lower case: ASCII, and what else the C++ locale of the process folds. The length stays.
WideString toLower(WideView text);
std::string toLower(std::string_view text);

}  // namespace base
