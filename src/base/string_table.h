// Texts of the process that programs of the suite may set, by key.
#pragma once

#include <string>

namespace base {

// Puts the text in place of what stood there. Any thread.
void setString(const std::string& key, const std::string& text);

// Empty for a key that has none. Any thread.
std::string findString(const std::string& key);

}  // namespace base
