// The choice among the languages that the suite speaks.
#pragma once

#include <string>
#include <vector>

namespace base {

// The first of the preferred languages ("de-DE", "pt") that is supported as it stands or without what follows its
// first hyphen, in lower case; "en" if there is none. Any thread.
std::string pickSupportedLanguage(const std::vector<std::string>& preferred);

}  // namespace base
