// Numbers in text, read alike on both systems: 32 bits, whatever the width of `long`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace base {

// By the rules of strtoul in base 16: leading white space, a sign and the prefix 0x are accepted, reading stops at the
// first character that isn't a digit, and a value above 32 bits is the largest one. None without any digit.
std::optional<std::uint32_t> parseHexadecimal(const std::string& text);

// By the rules of strtol in base 10; none without any digit and out of range.
std::optional<std::int32_t> parseDecimal(const std::string& text);

// Lower-case digits, no prefix, no leading zeros.
std::string hexadecimal(std::uint32_t value);

}  // namespace base
