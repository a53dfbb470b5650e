#include "update/version.h"

#include <algorithm>

#include "base/number.h"

namespace base {

Version parseVersion(const std::string& text) {
    Version version;
    std::size_t start = 0;
    for (;;) {
        const std::size_t stop = std::min(text.find('.', start), text.size());
        version.push_back(parseDecimal(text.substr(start, stop - start)).value_or(0));
        if (stop == text.size()) {
            return version;
        }
        start = stop + 1;
    }
}

std::string versionToText(const Version& version) {
    std::string text;
    for (const std::int32_t part : version) {
        text += text.empty() ? "" : ".";
        text += std::to_string(part);
    }
    return text;
}

int compareVersions(const Version& a, const Version& b) {
    const auto [endOfA, endOfB] = std::ranges::mismatch(a, b);
    if (endOfA != a.end() && endOfB != b.end()) {
        return *endOfA < *endOfB ? -1 : 1;
    }
    const auto isPart = [](std::int32_t part) { return part != 0; };
    return static_cast<int>(std::any_of(endOfA, a.end(), isPart)) -
           static_cast<int>(std::any_of(endOfB, b.end(), isPart));
}

}  // namespace base
