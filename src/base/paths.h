// Between the paths of Boost.Filesystem and the wide text that the operating system's operations take.
#pragma once

#include <boost/filesystem/path.hpp>

#include "base/text.h"

namespace base {

WideString widePath(const boost::filesystem::path& path);
boost::filesystem::path pathFromWide(WideView text);

}  // namespace base
