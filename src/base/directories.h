// Where everything of the suite lies. Nothing else queries the system's folders or composes a directory's name.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

namespace base {

// The number 4 isn't assigned.
enum DirectoryKind : std::uint32_t {
    Temporary = 0,
    Pictures = 1,
    Music = 2,
    Resources = 3,  // packaged beside the executable
    UserProfile = 5,
    Documents = 6,
    Executable = 7,
    ApplicationSupport = 8,  // in the user's Documents: configuration, settings, cache, updates
    Backups = 9,
    Logs = 10,
    LocalAppData = 11,
    ITunesBackups = 12,
    WebUi = 13,
    Desktop = 14,
    ProgramData = 15,
};

// The directory of that kind, made with its parents if it is missing. Worked out anew at each call. A directory that
// can't be made is logged and its path given all the same, so that the caller fails when it opens a file there. The
// empty path for a kind that doesn't exist, and if the system doesn't report the base folder. Never throws; any thread.
boost::filesystem::path applicationDirectory(std::uint32_t kind);

// Makes the directory and its parents if nothing is there. True if `path` is a directory on return; else the failure
// is logged. Never throws; any thread.
bool ensureDirectory(const boost::filesystem::path& path);

}  // namespace base
