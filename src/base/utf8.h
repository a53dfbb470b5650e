// Reading UTF-8 one code point at a time.
#pragma once

#include <cstddef>
#include <string_view>

namespace base {

struct Utf8CodePoint {
    char32_t value;
    std::size_t length;  // in bytes; 0 if the text doesn't begin with a well-formed sequence
};

// The code point at the head of `text`, which must not be empty. Overlong forms, surrogates and values above
// U+10FFFF are not well-formed (RFC 3629). Any thread.
Utf8CodePoint firstCodePoint(std::string_view text);

// Whether all of `text` is well-formed.
bool isUtf8(std::string_view text);

}  // namespace base
