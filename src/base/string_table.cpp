#include "base/string_table.h"

#include <map>
#include <mutex>

namespace base {

namespace {

struct StringTable {
    std::mutex mutex;
    std::map<std::string, std::string> texts;
};

StringTable& table() {
    static StringTable instance;
    return instance;
}

}  // namespace

void setString(const std::string& key, const std::string& text) {
    const std::lock_guard lock(table().mutex);
    table().texts[key] = text;
}

std::string findString(const std::string& key) {
    const std::lock_guard lock(table().mutex);
    const auto found = table().texts.find(key);
    return found == table().texts.end() ? std::string() : found->second;
}

}  // namespace base
