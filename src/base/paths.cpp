#include "base/paths.h"

#include <algorithm>
#include <type_traits>

#include "base/utf8.h"

namespace base {

namespace {

// Where names of files are bytes they need not be UTF-8. In the wide text that the operations take, each byte that
// isn't stands as a lone surrogate, U+DC00 plus the byte.
constexpr WCHAR strayByte = 0xDC00;
// There a backslash is part of a name, and in the wide text it would divide names.
constexpr WCHAR separator = '\\';
constexpr WCHAR strayBackslash = strayByte + separator;

[[maybe_unused]] WideString wideFromBytes(std::string_view bytes) {
    constexpr WCHAR replacement = 0xFFFD;  // for what isn't UTF-8
    WideString out = widen(bytes);
    std::replace(out.begin(), out.end(), separator, strayBackslash);
    if (out.find(replacement) == WideString::npos) {
        return out;
    }
    out.clear();
    while (!bytes.empty()) {
        const std::size_t length = firstCodePoint(bytes).length;
        if (length == 0) {
            out += static_cast<WCHAR>(strayByte + static_cast<unsigned char>(bytes[0]));
        } else {
            const WideString point = widen(bytes.substr(0, length));
            out += point.front() == separator ? WideString(1, strayBackslash) : point;
        }
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return out;
}

// Narrow text has a lone surrogate as ED, here with B2 or B3 behind it, or B1 for the backslash, and a third byte.
[[maybe_unused]] std::string bytesFromWide(WideView text) {
    std::string bytes = narrow(text);
    for (std::size_t at = bytes.find('\xED'); at != std::string::npos; at = bytes.find('\xED', at + 1)) {
        const auto second = static_cast<unsigned char>(bytes[at + 1]);
        const auto third = static_cast<unsigned char>(bytes[at + 2]);
        if (second == 0xB1 && third == 0x9C) {
            bytes.replace(at, 3, 1, '\\');
        } else if (second == 0xB2 || second == 0xB3) {
            bytes.replace(at, 3, 1, static_cast<char>((second & 3U) << 6U | (third & 0x3FU)));
        }
    }
    return bytes;
}

// Boost's native form is wide on one system and UTF-8 on the other; as a template, only the branch that fits is
// compiled.
template <typename Native>
WideString wideForm(const Native& native) {
    if constexpr (std::is_same_v<typename Native::value_type, WCHAR>) {
        return native;
    } else {
        return wideFromBytes(native);
    }
}

template <typename Path>
Path pathForm(WideView text) {
    if constexpr (std::is_same_v<typename Path::value_type, WCHAR>) {
        return Path(typename Path::string_type(text));
    } else {
        return Path(bytesFromWide(text));
    }
}

template <typename Path>
Path utf8Form(const std::string& text) {
    if constexpr (std::is_same_v<typename Path::value_type, WCHAR>) {
        return Path(widen(text));
    } else {
        return Path(text);
    }
}

}  // namespace

WideString widePath(const boost::filesystem::path& path) { return wideForm(path.native()); }
boost::filesystem::path pathFromWide(WideView text) { return pathForm<boost::filesystem::path>(text); }
boost::filesystem::path pathFromUtf8(const std::string& text) { return utf8Form<boost::filesystem::path>(text); }

}  // namespace base
