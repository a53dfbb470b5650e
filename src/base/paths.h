// Between the paths of Boost.Filesystem and the wide text that the operating system's operations take.
#pragma once

#include <boost/filesystem/path.hpp>

#include "base/text.h"

namespace base {

WideString widePath(const boost::filesystem::path& path);
boost::filesystem::path pathFromWide(WideView text);

// The path in UTF-8, as it stands in log lines and data.
std::string narrowPath(const boost::filesystem::path& path);

}  // namespace base
