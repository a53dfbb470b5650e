// Walking directories, and what stands in them.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>

#include "linux/kernel/handle.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace win32 {

namespace {

DWORD attributesOf(const struct stat& status) {
    if (S_ISDIR(status.st_mode)) {
        return FILE_ATTRIBUTE_DIRECTORY;
    }
    if (S_ISLNK(status.st_mode)) {
        return FILE_ATTRIBUTE_REPARSE_POINT;
    }
    const bool isReadOnly = (status.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    return FILE_ATTRIBUTE_ARCHIVE | (isReadOnly ? FILE_ATTRIBUTE_READONLY : 0);
}

void describe(const struct stat& status, std::string_view name, WIN32_FIND_DATAW& data) {
    const ULONGLONG size = S_ISREG(status.st_mode) ? static_cast<ULONGLONG>(status.st_size) : 0;
    data.dwFileAttributes = attributesOf(status);
    data.nFileSizeHigh = static_cast<DWORD>(size >> 32U);
    data.nFileSizeLow = static_cast<DWORD>(size);
    const WideString wide = toWideName(name);
    data.cFileName[wide.copy(data.cFileName, MAX_PATH - 1)] = 0;
}

// The two names of the directory itself come first, whatever order the file system has.
class Find : public Object {
public:
    explicit Find(DIR* directory) : directory_(directory) {}

    bool next(WIN32_FIND_DATAW& data) {
        struct stat status {};
        while (const char* const name = nextName()) {
            // What vanished meanwhile is passed over.
            if (fstatat(dirfd(directory_.get()), name, &status, AT_SYMLINK_NOFOLLOW) == 0) {
                describe(status, name, data);
                return true;
            }
        }
        SetLastError(ERROR_NO_MORE_FILES);
        return false;
    }

private:
    struct Close {
        void operator()(DIR* directory) const { closedir(directory); }
    };

    const char* nextName() {
        if (given_ < 2) {
            return given_++ == 0 ? "." : "..";
        }
        while (const dirent* const entry = readdir(directory_.get())) {
            const std::string_view name = entry->d_name;
            if (name != "." && name != "..") {
                return entry->d_name;
            }
        }
        return nullptr;
    }

    const std::unique_ptr<DIR, Close> directory_;
    int given_ = 0;
};

HANDLE openFind(const std::string& path) {
    DIR* const directory = opendir(path.c_str());
    if (directory == nullptr) {
        const int error = errno;
        SetLastError(error == ENOENT ? ERROR_PATH_NOT_FOUND : error == ENOTDIR ? ERROR_DIRECTORY : codeOfErrno(error));
        return INVALID_HANDLE_VALUE;
    }
    return openHandle(std::make_shared<Find>(directory));
}

}  // namespace

}  // namespace win32

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
    WIN32_MAY_FAIL("FindFirstFileW", INVALID_HANDLE_VALUE);
    std::string path = win32::toNativePath(pattern);
    if (!path.ends_with("/*")) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    path.pop_back();
    const HANDLE find = win32::openFind(path);
    if (find != INVALID_HANDLE_VALUE) {
        *data = {};
        FindNextFileW(find, data);
    }
    return find;
}

BOOL WINAPI FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data) {
    WIN32_MAY_FAIL("FindNextFileW", FALSE);
    const auto object = win32::objectAs<win32::Find>(find);
    return object && object->next(*data) ? TRUE : FALSE;
}

BOOL WINAPI FindClose(HANDLE find) {
    WIN32_MAY_FAIL("FindClose", FALSE);
    return win32::objectAs<win32::Find>(find) ? CloseHandle(find) : FALSE;
}

DWORD WINAPI GetFileAttributesW(LPCWSTR path) {
    WIN32_MAY_FAIL("GetFileAttributesW", INVALID_FILE_ATTRIBUTES);
    struct stat status {};
    const std::string native = path == nullptr ? std::string() : win32::toNativePath(path);
    if (stat(native.c_str(), &status) != 0) {
        win32::failWithErrno(errno, native);
        return INVALID_FILE_ATTRIBUTES;
    }
    return win32::attributesOf(status);
}
