#include "base/number.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <sstream>

namespace base {

std::optional<std::uint32_t> parseHexadecimal(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 16);
    if (end == text.c_str()) {
        return std::nullopt;
    }
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    const bool negative = text.find('-') < static_cast<std::size_t>(end - text.c_str());
    const unsigned long long magnitude = negative ? 0ULL - value : value;
    return errno == ERANGE || magnitude > largest ? largest : static_cast<std::uint32_t>(value);
}

std::optional<std::int32_t> parseDecimal(const std::string& text) {
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, 10);
    using Limits = std::numeric_limits<std::int32_t>;
    if (end == text.c_str() || errno == ERANGE || value < Limits::min() || value > Limits::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(value);
}

std::string hexadecimal(std::uint32_t value) {
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

}  // namespace base
