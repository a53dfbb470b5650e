#include "xml/transcode.h"

#include <cstdint>
#include <cstring>

#include "base/text.h"

namespace xml {

namespace {

static_assert(sizeof(XMLCh) == sizeof(WCHAR));

constexpr std::size_t blockUnits = 8;

bool isAsciiBlock(const XMLCh* block) {
    constexpr std::uint64_t beyondAscii = 0xFF80FF80FF80FF80;
    std::uint64_t halves[2];
    std::memcpy(halves, block, sizeof halves);
    return ((halves[0] | halves[1]) & beyondAscii) == 0;
}

}  // namespace

void appendUtf8(std::string& out, const XMLCh* text, std::size_t length) {
    const std::size_t start = out.size();
    out.resize(start + length);
    char* const target = out.data() + start;
    std::size_t done = 0;
    for (; done + blockUnits <= length && isAsciiBlock(text + done); done += blockUnits) {
        for (std::size_t i = 0; i < blockUnits; ++i) {
            target[done + i] = static_cast<char>(text[done + i]);
        }
    }
    for (; done < length && text[done] < 0x80; ++done) {
        target[done] = static_cast<char>(text[done]);
    }
    if (done < length) {
        out.resize(start + done);
        out += base::narrow(base::WideView(reinterpret_cast<const WCHAR*>(text + done), length - done));
    }
}

}  // namespace xml
