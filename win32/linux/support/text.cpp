#include "linux/support/text.h"

#include <algorithm>
#include <cstdint>

namespace win32 {

namespace {

constexpr char32_t escapeBase = 0xDC00;
constexpr char16_t escapedBackslash = escapeBase + '\\';

// The code point at the head of `bytes` and its length, or the escaped first byte with length 1.
struct Decoded {
    char32_t point;
    std::size_t length;
};

Decoded decode(std::string_view bytes) {
    const auto lead = static_cast<unsigned char>(bytes[0]);
    const Decoded escaped{escapeBase + lead, 1};
    if (lead < 0x80) {
        return {lead, 1};
    }
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || bytes.size() < length) {
        return escaped;
    }
    char32_t point = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(bytes[i]);
        if ((next & 0xC0U) != 0x80U) {
            return escaped;
        }
        point = (point << 6U) | (next & 0x3FU);
    }
    const bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
    if (overlong || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
        return escaped;
    }
    return {point, length};
}

void encode(char32_t point, std::string& out) {
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0U | (point >> 6U));
        out += static_cast<char>(0x80U | (point & 0x3FU));
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0U | (point >> 12U));
        out += static_cast<char>(0x80U | ((point >> 6U) & 0x3FU));
        out += static_cast<char>(0x80U | (point & 0x3FU));
    } else {
        out += static_cast<char>(0xF0U | (point >> 18U));
        out += static_cast<char>(0x80U | ((point >> 12U) & 0x3FU));
        out += static_cast<char>(0x80U | ((point >> 6U) & 0x3FU));
        out += static_cast<char>(0x80U | (point & 0x3FU));
    }
}

}  // namespace

std::string toBytes(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t unit = text[i];
        const bool high = unit >= 0xD800 && unit < 0xDC00;
        if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
            encode(0x10000 + ((unit - 0xD800) << 10U) + (text[i + 1] - 0xDC00U), out);
            ++i;
        } else if (unit == escapedBackslash || (unit >= escapeBase + 0x80 && unit <= escapeBase + 0xFF)) {
            out += static_cast<char>(unit - escapeBase);
        } else {
            encode(unit, out);
        }
    }
    return out;
}

WideString toWide(std::string_view bytes) {
    WideString out;
    out.reserve(bytes.size());
    while (!bytes.empty()) {
        const auto [point, length] = decode(bytes);
        bytes.remove_prefix(length);
        if (point < 0x10000) {
            out += static_cast<char16_t>(point);
        } else {
            out += static_cast<char16_t>(0xD800U + ((point - 0x10000U) >> 10U));
            out += static_cast<char16_t>(0xDC00U + ((point - 0x10000U) & 0x3FFU));
        }
    }
    return out;
}

WideString toWideName(std::string_view name) {
    WideString wide = toWide(name);
    std::replace(wide.begin(), wide.end(), u'\\', escapedBackslash);
    return wide;
}

std::string toNativePath(std::u16string_view path) {
    WideString native(path);
    std::replace(native.begin(), native.end(), u'\\', u'/');
    return toBytes(native);
}

}  // namespace win32
