// Versions as dotted texts: "2.18.6.0".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace base {

// The parts, most significant first.
using Version = std::vector<std::int32_t>;

// Each piece between full stops as a decimal number, by the rules of strtol; one without digits or out of range is 0,
// and so is an empty one. Never empty.
Version parseVersion(const std::string& text);

std::string versionToText(const Version& version);

// Negative, 0 or positive as `a` is lower than, equal to or greater than `b`. A missing part counts as 0, so that of
// two that begin alike the one that goes on with any other part, even a negative one, is the greater.
int compareVersions(const Version& a, const Version& b);

}  // namespace base
