// Registered messages: the numbers are the positions of their names in a file of the session.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <string>
#include <vector>

#include "linux/support/directories.h"
#include "linux/support/name_file.h"
#include "linux/support/scripted.h"
#include "win32/window.h"

namespace win32 {

namespace {

constexpr UINT firstMessage = 0xC000;
constexpr std::size_t messagesAtMost = 0x4000;

// The lines of the file that are whole: one that was cut off by its writer's end doesn't count.
std::vector<std::string> readNames(int file, off_t& end) {
    std::vector<std::string> names;
    std::string line;
    std::array<char, 4096> part{};
    off_t position = 0;
    end = 0;
    for (ssize_t size = 0; (size = pread(file, part.data(), part.size(), position)) > 0;) {
        for (ssize_t i = 0; i < size; ++i) {
            ++position;
            if (part[static_cast<std::size_t>(i)] != '\n') {
                line += part[static_cast<std::size_t>(i)];
                continue;
            }
            names.push_back(std::move(line));
            line.clear();
            end = position;
        }
    }
    return names;
}

std::size_t indexIn(std::vector<std::string>& names, const std::string& name) {
    const auto found = std::find(names.begin(), names.end(), name);
    const auto index = static_cast<std::size_t>(found - names.begin());
    if (found == names.end()) {
        names.push_back(name);
    }
    return index;
}

// Without a session's directory the numbers hold inside of the process.
std::size_t indexInProcess(const std::string& name) {
    static std::mutex mutex;
    static auto* const names = new std::vector<std::string>;
    const std::lock_guard lock(mutex);
    return indexIn(*names, name);
}

std::size_t indexInSession(const std::string& name) {
    const std::string directory = sessionDirectory();
    const Descriptor file =
        directory.empty() ? Descriptor() : openLocked(directory + "/registered-messages", 0, true, 0600);
    if (!file) {
        return indexInProcess(name);
    }
    off_t end = 0;
    std::vector<std::string> names = readNames(file.get(), end);
    const std::size_t known = names.size();
    const std::size_t index = indexIn(names, name);
    const std::string line = name + "\n";
    if (index == known && pwrite(file.get(), line.data(), line.size(), end) != static_cast<ssize_t>(line.size())) {
        return messagesAtMost;
    }
    return index;
}

}  // namespace

}  // namespace win32

UINT WINAPI RegisterWindowMessageW(LPCWSTR name) {
    WIN32_MAY_FAIL("RegisterWindowMessageW", 0);
    if (name == nullptr || *name == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    const std::size_t index = win32::indexInSession(win32::fileNameOfAnyCase(name));
    if (index >= win32::messagesAtMost) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    return win32::firstMessage + static_cast<UINT>(index);
}
