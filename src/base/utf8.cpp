#include "base/utf8.h"

namespace base {

Utf8CodePoint firstCodePoint(std::string_view text) {
    constexpr Utf8CodePoint malformed{0, 0};
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80) {
        return {lead, 1};
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return malformed;
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (text.size() < length) {
        return malformed;
    }
    char32_t point = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80U) {
            return malformed;
        }
        point = (point << 6U) | (next & 0x3FU);
    }
    const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
    if (overlong || (point >= 0xD800 && point <= 0xDFFF) || point > 0x10FFFF) {
        return malformed;
    }
    return {point, length};
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = firstCodePoint(text).length;
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

}  // namespace base
