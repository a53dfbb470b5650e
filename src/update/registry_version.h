// Versions that outlast a run, as values of the suite's key in the user's registry. Any thread.
#pragma once

#include <optional>
#include <string>

#include "update/version.h"

namespace base {

// Dotted text below `name`. A failure is logged under the tag "autoupdate".
bool storeVersion(const std::string& name, const Version& version);

// None if there is no such value, or none of at most 127 characters.
std::optional<Version> storedVersion(const std::string& name);

}  // namespace base
