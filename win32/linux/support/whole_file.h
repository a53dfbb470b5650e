// Small files that are read and replaced as a whole.
#pragma once

#include <optional>
#include <string>

namespace win32 {

// The file's content, or none with errno set.
std::optional<std::string> readWholeFile(const std::string& path);

// Puts `content` in the file's place so that at any moment, also after a crash, the old content stands there or the
// new one: a temporary file beside it, synchronised, then renamed. False with errno set; nothing is left behind.
bool replaceWholeFile(const std::string& path, const std::string& content);

}  // namespace win32
