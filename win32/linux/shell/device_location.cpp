#include "linux/shell/device_location.h"

#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>
#include <vector>

namespace win32 {

namespace {

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

// Device names lose their blanks and their case on the way into a mount's name.
std::string folded(const std::string& text) {
    std::string letters;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x80 || std::isalnum(byte) != 0) {
            letters += static_cast<char>(std::tolower(byte));
        }
    }
    return letters;
}

std::vector<std::string> entriesOf(const std::string& path) {
    const auto close = [](DIR* directory) { closedir(directory); };
    const std::unique_ptr<DIR, decltype(close)> directory(opendir(path.c_str()), close);
    std::vector<std::string> names;
    while (const dirent* const entry = directory ? readdir(directory.get()) : nullptr) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

std::string deviceLocation(const std::string& name) {
    const std::string wanted = folded(name);
    const std::string user = variable("USER");
    for (const std::string& folder : {variable("XDG_RUNTIME_DIR") + "/gvfs", "/run/media/" + user, "/media/" + user}) {
        for (const std::string& entry : entriesOf(folder)) {
            if (!wanted.empty() && folded(entry).find(wanted) != std::string::npos) {
                return std::string(folder).append("/").append(entry);
            }
        }
    }
    return variable("XDG_CURRENT_DESKTOP").find("KDE") != std::string::npos ? "mtp:/" : "computer:///";
}

}  // namespace win32
