#include "xml/byte_source.h"

#include <algorithm>

#include "base/utf8.h"

namespace xml {

namespace {

using namespace std::string_view_literals;

// The library asks for more than it keeps at once, and guesses the encoding by what the first call gives it.
constexpr std::size_t mostBytesOfACall = 16'384;

class ByteStream final : public xercesc::BinInputStream {
public:
    ByteStream(std::string_view mark, std::string_view bytes) : mark_(mark), bytes_(bytes) {}

    XMLFilePos curPos() const override { return position_; }
    const XMLCh* getContentType() const override { return nullptr; }

    XMLSize_t readBytes(XMLByte* const target, const XMLSize_t size) override {
        const std::size_t room = std::min<std::size_t>(size, mostBytesOfACall);
        const std::size_t marked = take(mark_, target, room);
        const std::size_t count = marked + take(bytes_, target + marked, room - marked);
        position_ += count;
        return count;
    }

private:
    static std::size_t take(std::string_view& source, XMLByte* target, std::size_t room) {
        const std::size_t count = std::min(source.size(), room);
        std::copy_n(source.begin(), count, target);
        source.remove_prefix(count);
        return count;
    }

    std::string_view mark_;
    std::string_view bytes_;
    XMLFilePos position_ = 0;
};

// A document begins with '<' or a blank, so the zeros around its first character tell the width and the order.
std::string_view missingMark(std::string_view bytes) {
    const auto zeros = [&](std::string_view pattern) {
        return bytes.size() >= pattern.size() && std::equal(pattern.begin(), pattern.end(), bytes.begin(),
                                                            [](char p, char b) { return (p == '0') == (b == '\0'); });
    };
    if (zeros("x000")) {
        return "\xFF\xFE\0\0"sv;
    }
    if (zeros("000x")) {
        return "\0\0\xFE\xFF"sv;
    }
    if (zeros("x0")) {
        return "\xFF\xFE"sv;
    }
    return zeros("0x") ? "\xFE\xFF"sv : ""sv;
}

bool holds(std::string_view text, std::string_view word) { return text.find(word) != std::string_view::npos; }

// By the equals signs since the last tag began, of which text and values may add some.
bool mayHaveManyAttributes(std::string_view text) {
    constexpr int many = 500;
    int signs = 0;
    std::size_t before = 0;
    for (std::size_t sign = text.find('='); sign != std::string_view::npos; sign = text.find('=', sign + 1)) {
        const std::string_view between = text.substr(before, sign - before);
        signs = between.find('<') == std::string_view::npos ? signs + 1 : 1;
        if (signs > many) {
            return true;
        }
        before = sign;
    }
    return false;
}

}  // namespace

ByteSource::ByteSource(std::string_view bytes) : mark_(missingMark(bytes)), bytes_(bytes) {}

// Of a unit of the encoding.
std::size_t ByteSource::width() const {
    const auto begins = [&](std::string_view mark) { return mark_ == mark || bytes_.starts_with(mark); };
    if (begins("\xFF\xFE\0\0"sv) || begins("\0\0\xFE\xFF"sv)) {
        return 4;
    }
    return begins("\xFF\xFE"sv) || begins("\xFE\xFF"sv) ? 2 : 1;
}

bool ByteSource::holdsFalseEnd() const {
    const std::size_t unit = width();
    const std::string_view zero("\0\0\0\0", unit);
    std::size_t at = bytes_.find(zero);
    while (at != std::string_view::npos && at % unit != 0) {
        at = bytes_.find(zero, at + 1);
    }
    return at != std::string_view::npos || bytes_.size() % unit != 0;
}

bool ByteSource::endsInPartOfUtf8() const {
    // A lead byte, even one of the withdrawn forms of six bytes, keeps back no more than this.
    constexpr std::size_t longest = 6;
    std::string_view tail = bytes_.substr(bytes_.size() - std::min(bytes_.size(), longest));
    while (!tail.empty() && (static_cast<unsigned char>(tail[0]) & 0xC0U) == 0x80U) {
        tail.remove_prefix(1);
    }
    return width() == 1 && !base::isUtf8(tail);
}

bool ByteSource::isPlain() const {
    std::string_view rest = bytes_.substr(bytes_.starts_with("\xEF\xBB\xBF") ? 3 : 0);
    const std::string_view declaration = rest.starts_with("<?xml") ? rest.substr(0, rest.find("?>")) : "";
    const bool isOther = holds(declaration, "encoding") && !holds(declaration, "UTF-8") && !holds(declaration, "utf-8");
    if (width() != 1 || !rest.starts_with('<') || isOther) {
        return false;
    }
    while (true) {
        rest.remove_prefix(std::min(rest.find('<'), rest.size()));
        const std::string_view end = rest.starts_with("<!--") ? "-->" : rest.starts_with("<?") ? "?>" : "";
        if (end.empty()) {
            return !rest.empty() && !rest.starts_with("<!") && !mayHaveManyAttributes(rest);
        }
        rest.remove_prefix(std::min(rest.find(end), rest.size()));
    }
}

xercesc::BinInputStream* ByteSource::makeStream() const { return new (getMemoryManager()) ByteStream(mark_, bytes_); }

}  // namespace xml
