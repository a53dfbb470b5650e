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
    for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
        const std::int32_t partOfA = i < a.size() ? a[i] : 0;
        const std::int32_t partOfB = i < b.size() ? b[i] : 0;
        if (partOfA != partOfB) {
            return partOfA < partOfB ? -1 : 1;
        }
    }
    return 0;
}

}  // namespace base
