#include "base/text.h"

#include <algorithm>
#include <cwctype>

#include "base/utf8.h"

namespace base {

namespace {

constexpr char32_t replacement = 0xFFFD;

bool isHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

void appendUtf8(char32_t point, std::string& out) {
    const auto continuation = [&](unsigned shift) { out += static_cast<char>(0x80U | ((point >> shift) & 0x3FU)); };
    if (point < 0x80) {
        out += static_cast<char>(point);
        return;
    }
    if (point < 0x800) {
        out += static_cast<char>(0xC0U | (point >> 6U));
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0U | (point >> 12U));
        continuation(6);
    } else {
        out += static_cast<char>(0xF0U | (point >> 18U));
        continuation(12);
        continuation(6);
    }
    continuation(0);
}

}  // namespace

std::string narrow(WideView text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t point = text[i];
        if (isHighSurrogate(point) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
            point = 0x10000 + ((point - 0xD800) << 10U) + (text[++i] - 0xDC00U);
        }
        appendUtf8(point, out);
    }
    return out;
}

WideString widen(std::string_view text) {
    WideString out;
    out.reserve(text.size());
    while (!text.empty()) {
        const auto [point, length] = firstCodePoint(text);
        text.remove_prefix(length == 0 ? 1 : length);
        if (length == 0) {
            out += static_cast<WCHAR>(replacement);
        } else if (point < 0x10000) {
            out += static_cast<WCHAR>(point);
        } else {
            out += static_cast<WCHAR>(0xD800U + ((point - 0x10000U) >> 10U));
            out += static_cast<WCHAR>(0xDC00U + ((point - 0x10000U) & 0x3FFU));
        }
    }
    return out;
}

WideString widenBytes(std::string_view text) {
    WideString out;
    for (const char c : text) {
        out += static_cast<WCHAR>(static_cast<unsigned char>(c));
    }
    return out;
}

WideString toLower(WideView text) {
    WideString out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](WCHAR unit) { return static_cast<WCHAR>(std::towlower(static_cast<std::wint_t>(unit))); });
    return out;
}

std::string toLower(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return out;
}

}  // namespace base
