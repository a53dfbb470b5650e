#include "win32/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "linux/files/file_sharing.h"
#include "linux/files/held_file.h"
#include "linux/kernel/handle.h"
#include "linux/pipes/pipe.h"
#include "linux/pipes/pipe_directory.h"
#include "linux/support/descriptor.h"
#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"

namespace win32 {

namespace {

constexpr mode_t everybodysWriting = S_IWUSR | S_IWGRP | S_IWOTH;
constexpr LONGLONG ticksOfSecond = 10'000'000;
constexpr LONGLONG ticksUntil1970 = 116'444'736'000'000'000;

class File : public Object {
public:
    File(Descriptor descriptor, DWORD access, bool deletes)
        : descriptor_(std::move(descriptor)), access_(access), deletes_(deletes) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() override { removeHeld(descriptor()); }

    int descriptor() const { return descriptor_.get(); }

    bool allows(DWORD access) const { return isGranted(access_, access); }

    void closing() override {
        if (deletes_) {
            removeName();
        }
    }

    BOOL read(void* buffer, DWORD size, DWORD* done) override {
        if (!allows(GENERIC_READ)) {
            return FALSE;
        }
        const ssize_t count = retry([&] { return ::read(descriptor(), buffer, size); });
        if (count < 0) {
            return failWithErrno(errno);
        }
        *done = static_cast<DWORD>(count);
        return TRUE;
    }

    BOOL write(const void* bytes, DWORD size, DWORD* done) override {
        if (!allows(GENERIC_WRITE)) {
            return FALSE;
        }
        const auto* const start = static_cast<const char*>(bytes);
        while (*done < size) {
            const ssize_t count = retry([&] { return ::write(descriptor(), start + *done, size - *done); });
            if (count <= 0) {
                return failWithErrno(count == 0 ? ENOSPC : errno);
            }
            *done += static_cast<DWORD>(count);
        }
        return TRUE;
    }

    BOOL flush() override { return allows(GENERIC_WRITE) && (fsync(descriptor()) == 0 || failWithErrno(errno)); }

private:
    template <typename Call>
    static ssize_t retry(Call call) {
        ssize_t result = 0;
        do {
            result = call();
        } while (result < 0 && errno == EINTR);
        return result;
    }

    // The kernel knows where the file is by now; the name is removed only while it still means this file.
    void removeName() const {
        std::string path(PATH_MAX, '\0');
        const std::string link = "/proc/self/fd/" + std::to_string(descriptor());
        const ssize_t length = readlink(link.c_str(), path.data(), path.size());
        path.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
        struct stat own {};
        struct stat named {};
        if (fstat(descriptor(), &own) == 0 && lstat(path.c_str(), &named) == 0 && own.st_dev == named.st_dev &&
            own.st_ino == named.st_ino) {
            unlink(path.c_str());
        }
    }

    Descriptor descriptor_;
    DWORD access_;
    bool deletes_;
};

struct Opened {
    Descriptor descriptor;
    bool existed = true;
};

Descriptor openNative(const std::string& path, int flags) {
    // O_NONBLOCK, or the opening of a FIFO would wait for its other end; to a regular file it means nothing.
    Descriptor descriptor(open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666));
    if (!descriptor) {
        failWithErrno(errno, path);
    }
    return descriptor;
}

// Windows' read-only attribute holds for everybody, the administrator included.
bool isUsable(const struct stat& status, bool changes) {
    const bool readOnly = (status.st_mode & everybodysWriting) == 0;
    return S_ISREG(status.st_mode) && !(changes && readOnly);
}

// The file as it is or as it was made, not yet truncated.
Opened openOrCreate(const std::string& path, int mode, DWORD disposition) {
    const bool mayCreate = disposition == CREATE_NEW || disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    while (true) {
        if (disposition != CREATE_NEW) {
            Descriptor existing = openNative(path, mode);
            if (existing || !mayCreate || GetLastError() != ERROR_FILE_NOT_FOUND) {
                return {std::move(existing), true};
            }
        }
        Descriptor made = openNative(path, mode | O_CREAT | O_EXCL);
        if (made || GetLastError() != ERROR_ALREADY_EXISTS) {
            return {std::move(made), false};
        }
        // A link that leads nowhere exists and doesn't at once.
        struct stat status {};
        if (disposition == CREATE_NEW || stat(path.c_str(), &status) != 0) {
            SetLastError(disposition == CREATE_NEW ? ERROR_FILE_EXISTS : ERROR_FILE_NOT_FOUND);
            return {Descriptor(), false};
        }
    }
}

// Locks on the file need a descriptor that may read.
int modeOf(DWORD access) { return (access & GENERIC_WRITE) != 0 ? O_RDWR : O_RDONLY; }

// An opened and claimed file. A holder that deletes the file lets go of it only after its name is gone, so that what
// was opened just before is seen to be nameless here, and is left for a new file.
Opened openClaimed(const std::string& path, const FileClaim& claim, DWORD disposition) {
    while (true) {
        Opened opened = openOrCreate(path, modeOf(claim.access), disposition);
        if (!opened.descriptor) {
            return {};
        }
        const bool claimed = claimFile(opened.descriptor.get(), claim);
        struct stat status {};
        if (fstat(opened.descriptor.get(), &status) != 0) {
            failWithErrno(errno);
            return {};
        }
        if (!isUsable(status, (claim.access & GENERIC_WRITE) != 0 || (claim.deletes && opened.existed))) {
            SetLastError(ERROR_ACCESS_DENIED);
            return {};
        }
        if (!claimed || status.st_nlink != 0) {
            return claimed ? std::move(opened) : Opened{};
        }
    }
}

// Handles that are open already may still write.
void makeReadOnly(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) == 0) {
        fchmod(descriptor, status.st_mode & 07777U & ~everybodysWriting);
    }
}

HANDLE openFile(const std::string& path, DWORD access, DWORD sharing, DWORD disposition, DWORD flags) {
    const bool truncates = disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
    const bool deletes = (flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;
    const DWORD used = truncates ? access | GENERIC_WRITE : access;
    Opened opened = openClaimed(path, {used, sharing, deletes, false}, disposition);
    if (!opened.descriptor) {
        return INVALID_HANDLE_VALUE;
    }
    if (truncates && opened.existed && ftruncate(opened.descriptor.get(), 0) != 0) {
        failWithErrno(errno);
        return INVALID_HANDLE_VALUE;
    }
    if ((flags & FILE_ATTRIBUTE_READONLY) != 0 && (!opened.existed || disposition == CREATE_ALWAYS)) {
        makeReadOnly(opened.descriptor.get());
    }
    auto file = std::make_shared<File>(std::move(opened.descriptor), access, deletes);
    if ((access & GENERIC_WRITE) == 0 && (sharing & FILE_SHARE_DELETE) == 0) {
        addHeld(path, file->descriptor());
    }
    const HANDLE handle = openHandle(std::move(file));
    const bool tells = disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    SetLastError(tells && opened.existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

LONGLONG ticksOf(const FILETIME* time) {
    return time == nullptr ? 0 : static_cast<LONGLONG>((ULONGLONG{time->dwHighDateTime} << 32U) | time->dwLowDateTime);
}

// 0 leaves a time as it is, and -1 stands for the handle's not changing it any more.
timespec toTimespec(LONGLONG ticks) {
    if (ticks == 0 || ticks == -1) {
        return {0, UTIME_OMIT};
    }
    const LONGLONG sinceEpoch = ticks - ticksUntil1970;
    LONGLONG seconds = sinceEpoch / ticksOfSecond;
    LONGLONG rest = sinceEpoch % ticksOfSecond;
    if (rest < 0) {
        rest += ticksOfSecond;
        --seconds;
    }
    return {seconds, rest * 100};
}

}  // namespace

}  // namespace win32

using win32::File;

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD sharing, LPSECURITY_ATTRIBUTES /*security*/,
                          DWORD disposition, DWORD flags, HANDLE /*templateFile*/) {
    WIN32_MAY_FAIL("CreateFileW", INVALID_HANDLE_VALUE);
    const std::u16string_view text = path == nullptr ? std::u16string_view() : path;
    const bool truncatesUnwritten = disposition == TRUNCATE_EXISTING && (access & GENERIC_WRITE) == 0;
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING || truncatesUnwritten) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_HANDLE_VALUE;
    }
    return win32::isPipePath(text) ? win32::openPipe(text, access)
                                   : win32::openFile(win32::toNativePath(text), access, sharing, disposition, flags);
}

HANDLE WINAPI ReOpenFile(HANDLE file, DWORD access, DWORD sharing, DWORD flags) {
    WIN32_MAY_FAIL("ReOpenFile", INVALID_HANDLE_VALUE);
    const auto original = win32::objectAs<File>(file);
    if (!original) {
        return INVALID_HANDLE_VALUE;
    }
    const bool deletes = (flags & FILE_FLAG_DELETE_ON_CLOSE) != 0;
    const std::string path = "/proc/self/fd/" + std::to_string(original->descriptor());
    win32::Descriptor descriptor = win32::openNative(path, win32::modeOf(access));
    struct stat status {};
    if (descriptor && fstat(descriptor.get(), &status) == 0 &&
        !win32::isUsable(status, deletes || (access & GENERIC_WRITE) != 0)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    if (!descriptor || !win32::claimFile(descriptor.get(), {access, sharing, deletes, true})) {
        return INVALID_HANDLE_VALUE;
    }
    return win32::openHandle(std::make_shared<File>(std::move(descriptor), access, deletes));
}

BOOL WINAPI SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method) {
    WIN32_MAY_FAIL("SetFilePointerEx", FALSE);
    const auto object = win32::objectAs<File>(file);
    if (!object) {
        return FALSE;
    }
    if (method > FILE_END) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int whence = method == FILE_BEGIN ? SEEK_SET : method == FILE_CURRENT ? SEEK_CUR : SEEK_END;
    const off_t reached = lseek(object->descriptor(), distance.QuadPart, whence);
    if (reached < 0) {
        SetLastError(errno == EINVAL && distance.QuadPart < 0 ? ERROR_NEGATIVE_SEEK : win32::codeOfErrno(errno));
        return FALSE;
    }
    if (position != nullptr) {
        position->QuadPart = reached;
    }
    return TRUE;
}

BOOL WINAPI GetFileSizeEx(HANDLE file, PLARGE_INTEGER size) {
    WIN32_MAY_FAIL("GetFileSizeEx", FALSE);
    const auto object = win32::objectAs<File>(file);
    if (!object) {
        return FALSE;
    }
    struct stat status {};
    if (fstat(object->descriptor(), &status) != 0) {
        return win32::failWithErrno(errno);
    }
    size->QuadPart = status.st_size;
    return TRUE;
}

BOOL WINAPI SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess, const FILETIME* lastWrite) {
    WIN32_MAY_FAIL("SetFileTime", FALSE);
    const auto object = win32::objectAs<File>(file);
    if (!object || !object->allows(GENERIC_WRITE)) {
        return FALSE;
    }
    const LONGLONG ticks[] = {win32::ticksOf(creation), win32::ticksOf(lastAccess), win32::ticksOf(lastWrite)};
    if (std::any_of(std::begin(ticks), std::end(ticks), [](LONGLONG each) { return each < -1; })) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (ticks[0] > 0 && ticks[1] == 0 && ticks[2] == 0) {
        SetLastError(ERROR_NOT_SUPPORTED);  // a file's time of birth can't be set
        return FALSE;
    }
    const timespec times[] = {win32::toTimespec(ticks[1]), win32::toTimespec(ticks[2])};
    if (futimens(object->descriptor(), times) != 0) {
        return win32::failWithErrno(errno);
    }
    return TRUE;
}
