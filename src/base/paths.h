// Between the paths of Boost.Filesystem and the wide text that the operating system's operations take. A path of the
// system comes through both ways unchanged, also one that isn't UTF-8. Any thread.
#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "base/text.h"

namespace base {

WideString widePath(const boost::filesystem::path& path);
boost::filesystem::path pathFromWide(WideView text);
boost::filesystem::path pathFromUtf8(const std::string& text);

}  // namespace base
