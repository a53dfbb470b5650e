#include "linux/support/whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include "linux/support/descriptor.h"

namespace win32 {

namespace {

bool writeAll(int file, std::string_view content) {
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        content.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return true;
}

// The rename itself lasts only when the directory is on the disk too.
void synchroniseDirectoryOf(const std::string& path) {
    const Descriptor directory(open(path.substr(0, path.rfind('/')).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory) {
        fsync(directory.get());
    }
}

}  // namespace

std::optional<std::string> readWholeFile(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> block{};
    for (;;) {
        const ssize_t got = read(file.get(), block.data(), block.size());
        if (got == 0) {
            return content;
        }
        if (got < 0 && errno != EINTR) {
            return std::nullopt;
        }
        content.append(block.data(), got < 0 ? 0 : static_cast<std::size_t>(got));
    }
}

bool replaceWholeFile(const std::string& path, const std::string& content) {
    // Whoever replaces a file holds its lock, so one name serves, and what a killed process left is overwritten.
    const std::string temporary = path + ".new";
    Descriptor file(open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644));
    if (!file) {
        return false;
    }
    if (writeAll(file.get(), content) && fsync(file.get()) == 0 && std::rename(temporary.c_str(), path.c_str()) == 0) {
        synchroniseDirectoryOf(path);
        return true;
    }
    const int error = errno;
    unlink(temporary.c_str());
    errno = error;
    return false;
}

}  // namespace win32
