// Version texts: an order of all versions that have no negative part, which none on record has.
#include "update/version.h"

#include <algorithm>

#include "fuzz.h"

using base::compareVersions;
using base::Version;

FUZZ_TARGET(version) {
    fuzz::Parts parts(input);
    const std::string first = parts.text();
    const Version versions[] = {base::parseVersion(first), base::parseVersion(parts.text()),
                                base::parseVersion(parts.text())};
    const auto& [a, b, c] = versions;
    const auto dots = std::count(first.begin(), first.end(), '.');
    fuzz::require(a.size() == static_cast<std::size_t>(dots) + 1, "a part for each piece");
    fuzz::require(base::parseVersion(base::versionToText(a)) == a, "what was written reads back the same");
    fuzz::require(compareVersions(a, a) == 0, "reflexive");
    fuzz::require(compareVersions(a, b) == -compareVersions(b, a), "antisymmetric");
    const auto isUsual = [](const Version& version) {
        return std::ranges::all_of(version, [](std::int32_t part) { return part >= 0; });
    };
    if (std::ranges::all_of(versions, isUsual)) {
        const bool isChain = compareVersions(a, b) <= 0 && compareVersions(b, c) <= 0;
        fuzz::require(!isChain || compareVersions(a, c) <= 0, "transitive");
        Version longer = a;
        longer.push_back(0);
        fuzz::require(compareVersions(a, longer) == 0, "a missing part is 0");
    }
}
