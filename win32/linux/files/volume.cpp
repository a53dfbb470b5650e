// Volumes, which on Linux are the mounts of the process's own mount table.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "linux/support/whole_file.h"
#include "win32/file.h"

namespace win32 {

namespace {

struct Mount {
    std::string device;  // "major:minor"
    std::string mountPoint;
    std::string type;
    bool isReadOnly = false;
};

// The table has blanks and the like as three octal digits behind a backslash.
std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '\\' && i + 3 < text.size();
        result += isEscape ? static_cast<char>(std::strtol(text.substr(i + 1, 3).c_str(), nullptr, 8)) : text[i];
        i += isEscape ? 3 : 0;
    }
    return result;
}

bool hasOption(const std::string& options, const std::string& option) {
    return ("," + options + ",").find("," + option + ",") != std::string::npos;
}

// A line of proc(5)'s mountinfo: number, parent, device, root, mountPoint, options, optional fields, "-", type, source,
// options of the file system.
Mount parseMount(const std::string& line) {
    std::istringstream fields(line);
    Mount mount;
    std::string ignored;
    std::string options;
    fields >> ignored >> ignored >> mount.device >> ignored >> mount.mountPoint >> options;
    while (fields >> ignored && ignored != "-") {
    }
    std::string ofFileSystem;
    fields >> mount.type >> ignored >> ofFileSystem;
    mount.mountPoint = unescaped(mount.mountPoint);
    mount.isReadOnly = hasOption(options, "ro") || hasOption(ofFileSystem, "ro");
    return mount;
}

bool lies(const std::string& path, const std::string& mountPoint) {
    return mountPoint == "/" || path == mountPoint || path.starts_with(mountPoint + "/");
}

// The mount that holds the path: the deepest one, and of several at one mount point the last.
std::optional<Mount> mountOf(const std::string& path) {
    std::istringstream lines(readWholeFile("/proc/self/mountinfo").value_or(""));
    std::optional<Mount> found;
    for (std::string line; std::getline(lines, line);) {
        Mount mount = parseMount(line);
        if (lies(path, mount.mountPoint) && (!found || mount.mountPoint.size() >= found->mountPoint.size())) {
            found = std::move(mount);
        }
    }
    return found;
}

// Without links, by way of the deepest part that exists; empty for an empty path.
std::string resolved(std::string path) {
    const auto release = [](char* text) { std::free(text); };
    if (!path.empty() && path.front() != '/') {
        path.insert(0, "./");
    }
    while (!path.empty()) {
        const std::unique_ptr<char, decltype(release)> real(realpath(path.c_str(), nullptr), release);
        if (real) {
            return real.get();
        }
        path.resize(path.size() > 1 ? std::max<std::size_t>(path.find_last_of('/', path.size() - 2) + 1, 0) : 0);
    }
    return path;
}

// The mount at a path that GetVolumePathNameW gave; for null, that of the working directory.
std::optional<Mount> mountAt(LPCWSTR volume) {
    if (volume == nullptr) {
        return mountOf(resolved("."));
    }
    std::string path = toNativePath(volume);
    if (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    auto mount = mountOf(path);
    return mount && mount->mountPoint == path ? mount : std::nullopt;
}

bool isOneOf(const std::string& type, std::initializer_list<const char*> types) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

// A partition has the mark in the directory of its disk.
bool isRemovable(const std::string& device) {
    const std::string block = "/sys/dev/block/" + device;
    const auto mark = [](const std::string& file) { return readWholeFile(file).value_or("").substr(0, 1) == "1"; };
    return mark(block + "/removable") || mark(block + "/../removable");
}

UINT driveTypeOf(const Mount& mount) {
    if (isOneOf(mount.type, {"nfs", "nfs4", "cifs", "smb3", "smbfs", "9p", "afs", "ceph", "ncpfs", "fuse.sshfs",
                             "fuse.rclone", "fuse.gvfsd-fuse", "davfs"})) {
        return DRIVE_REMOTE;
    }
    if (isOneOf(mount.type, {"iso9660", "udf"})) {
        return DRIVE_CDROM;
    }
    if (isOneOf(mount.type, {"tmpfs", "ramfs", "devtmpfs"})) {
        return DRIVE_RAMDISK;
    }
    return isRemovable(mount.device) ? DRIVE_REMOVABLE : DRIVE_FIXED;
}

void putBytes(PULARGE_INTEGER result, fsblkcnt_t blocks, unsigned long size) {
    if (result != nullptr) {
        result->QuadPart = ULONGLONG{blocks} * size;
    }
}

}  // namespace

}  // namespace win32

BOOL WINAPI GetDiskFreeSpaceExW(LPCWSTR directory, PULARGE_INTEGER available, PULARGE_INTEGER total,
                                PULARGE_INTEGER free) {
    WIN32_MAY_FAIL("GetDiskFreeSpaceExW", FALSE);
    const std::string path = directory == nullptr ? "." : win32::toNativePath(directory);
    struct stat status {};
    struct statvfs volume {};
    if (stat(path.c_str(), &status) != 0 || (S_ISDIR(status.st_mode) && statvfs(path.c_str(), &volume) != 0)) {
        const int error = errno;
        SetLastError(error == ENOENT ? ERROR_PATH_NOT_FOUND : win32::codeOfErrno(error));
        return FALSE;
    }
    if (!S_ISDIR(status.st_mode)) {
        SetLastError(ERROR_DIRECTORY);
        return FALSE;
    }
    win32::putBytes(available, volume.f_bavail, volume.f_frsize);
    win32::putBytes(total, volume.f_blocks, volume.f_frsize);
    win32::putBytes(free, volume.f_bfree, volume.f_frsize);
    return TRUE;
}

BOOL WINAPI GetVolumePathNameW(LPCWSTR path, LPWSTR volume, DWORD size) {
    WIN32_MAY_FAIL("GetVolumePathNameW", FALSE);
    const std::string real = path == nullptr ? std::string() : win32::resolved(win32::toNativePath(path));
    const auto mount = real.empty() ? std::nullopt : win32::mountOf(real);
    if (!mount) {
        SetLastError(ERROR_INVALID_NAME);
        return FALSE;
    }
    const WideString root = win32::toWideName(mount->mountPoint == "/" ? "/" : mount->mountPoint + "/");
    if (root.size() >= size) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return FALSE;
    }
    volume[root.copy(volume, root.size())] = 0;
    return TRUE;
}

UINT WINAPI GetDriveTypeW(LPCWSTR volume) {
    WIN32_MAY_RETURN("GetDriveTypeW", UINT);
    const auto mount = win32::mountAt(volume);
    return mount ? win32::driveTypeOf(*mount) : DRIVE_NO_ROOT_DIR;
}

BOOL WINAPI GetVolumeInformationW(LPCWSTR volume, LPWSTR name, DWORD /*nameSize*/, LPDWORD serialNumber,
                                  LPDWORD longestName, LPDWORD flags, LPWSTR fileSystem, DWORD /*fileSystemSize*/) {
    WIN32_MAY_FAIL("GetVolumeInformationW", FALSE);
    if (name != nullptr || serialNumber != nullptr || longestName != nullptr || fileSystem != nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return FALSE;
    }
    const auto mount = win32::mountAt(volume);
    if (!mount) {
        const DWORD attributes = GetFileAttributesW(volume);
        SetLastError(attributes == INVALID_FILE_ATTRIBUTES ? ERROR_PATH_NOT_FOUND : ERROR_DIR_NOT_ROOT);
        return FALSE;
    }
    if (flags != nullptr) {
        *flags = mount->isReadOnly ? FILE_READ_ONLY_VOLUME : 0;
    }
    return TRUE;
}
