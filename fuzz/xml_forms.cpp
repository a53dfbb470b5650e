// One document in several forms: it means the same in UTF-16 and UCS-4, and with a document type that declares nothing,
// for which the library has another scanner.
#include <algorithm>

#include "base/text.h"
#include "base/utf8.h"
#include "data/xml_value.h"
#include "fuzz.h"
#include "trees.h"
#include "xml/byte_source.h"

namespace {

std::string parsed(std::string_view text) { return fuzz::describe(data::parseXml(text.data(), text.size())); }

std::string inUtf16(std::string_view text, bool isBigEndian) {
    std::string bytes;
    for (const WCHAR unit : base::widen(text)) {
        const char halves[] = {static_cast<char>(unit), static_cast<char>(unit >> 8U)};
        bytes += halves[isBigEndian ? 1 : 0];
        bytes += halves[isBigEndian ? 0 : 1];
    }
    return bytes;
}

std::string inUcs4(std::string_view text) {
    std::string bytes;
    while (!text.empty()) {
        const auto [point, length] = base::firstCodePoint(text);
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
            bytes += static_cast<char>(point >> shift);
        }
        text.remove_prefix(length);
    }
    return bytes;
}

}  // namespace

FUZZ_TARGET(xml_forms) {
    const std::string_view text = fuzz::textOf(input);
    const bool isDeclared = text.starts_with("<?xml");
    if (!base::isUtf8(text) || text.find('\0') != std::string_view::npos || text.empty() ||
        static_cast<unsigned char>(text[0]) >= 0x80) {
        return;
    }
    const std::string tree = parsed(text);
    if (text.substr(0, isDeclared ? text.find("?>") : 0).find("encoding") == std::string_view::npos) {
        fuzz::require(parsed(inUtf16(text, true)) == tree, "the same in UTF-16");
        fuzz::require(parsed(inUtf16(text, false)) == tree, "the same in UTF-16 the other way round");
        const std::string_view head = text.substr(0, text.find('>'));
        const auto isBeyond = [](char c) { return static_cast<unsigned char>(c) >= 0xF0; };
        fuzz::require(std::ranges::any_of(head, isBeyond) || parsed(inUcs4(text)) == tree, "the same in UCS-4");
    }
    if (xml::ByteSource(text).isPlain()) {
        std::string typed(text);
        typed.insert(isDeclared ? std::min(text.find("?>") + 2, text.size()) : 0, "<!DOCTYPE a>");
        fuzz::require(parsed(typed) == tree, "the same with a document type");
    }
}
