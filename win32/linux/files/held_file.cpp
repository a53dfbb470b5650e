#include "linux/files/held_file.h"

#include <fcntl.h>

#include <algorithm>
#include <map>
#include <mutex>

namespace win32 {

namespace {

struct HeldFiles {
    std::mutex mutex;
    std::map<int, std::string> paths;  // by descriptor
};

// Never destroyed: handles are closed while statics go.
HeldFiles& heldFiles() {
    static auto* const instance = new HeldFiles;
    return *instance;
}

}  // namespace

Descriptor openHeld(const std::string& path) {
    const std::lock_guard lock(heldFiles().mutex);
    const auto& paths = heldFiles().paths;
    const auto found = std::find_if(paths.begin(), paths.end(), [&](const auto& each) { return each.second == path; });
    return Descriptor(found == paths.end() ? -1 : fcntl(found->first, F_DUPFD_CLOEXEC, 0));
}

void addHeld(const std::string& path, int descriptor) {
    const std::lock_guard lock(heldFiles().mutex);
    heldFiles().paths[descriptor] = path;
}

void removeHeld(int descriptor) {
    const std::lock_guard lock(heldFiles().mutex);
    heldFiles().paths.erase(descriptor);
}

}  // namespace win32
