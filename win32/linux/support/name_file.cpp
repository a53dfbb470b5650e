#include "linux/support/name_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <thread>

#include "linux/support/errno_code.h"
#include "linux/support/text.h"
#include "win32/error.h"

namespace win32 {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr unsigned guardMilliseconds = 5000;
constexpr std::size_t longestName = 64;  // a pipe's socket has room for that and what its server adds

bool staysInFileName(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           std::string_view("-_{}").find(c) != std::string_view::npos;
}

std::string hexadecimal(std::uint64_t number, unsigned bytes) {
    std::string digits;
    for (unsigned shift = bytes * 8; shift > 0; shift -= 4) {
        digits += "0123456789ABCDEF"[(number >> (shift - 4)) & 0xFU];
    }
    return digits;
}

// FNV-1a.
std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xCBF29CE484222325U;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }
    return hash;
}

// Locks that belong to the open file and not to the process, so that two openings in one process exclude each other.
int setLock(int file, int command, short type, int byte) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    int result = 0;
    do {
        result = fcntl(file, command, &lock);
    } while (result != 0 && errno == EINTR);
    return result;
}

}  // namespace

std::string fileNameOf(std::u16string_view name) {
    std::string out;
    for (const char c : toBytes(name)) {
        if (staysInFileName(c)) {
            out += c;
            continue;
        }
        out += "%" + hexadecimal(static_cast<unsigned char>(c), 1);
    }
    return out.size() <= longestName ? out : out.substr(0, longestName / 2) + "~" + hexadecimal(hashOf(out), 8);
}

std::string fileNameOfAnyCase(std::u16string_view name) {
    std::u16string lower(name);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; });
    return fileNameOf(lower);
}

Descriptor openNameFile(const std::string& path, bool create, unsigned mode) {
    constexpr int flags = O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    for (;;) {
        // First without O_CREAT: in sticky directories the kernel refuses it on files of other users.
        Descriptor file(open(path.c_str(), flags));
        if (!file && errno == ENOENT && create) {
            file = Descriptor(open(path.c_str(), flags | O_CREAT | O_EXCL, mode));
            if (!file && errno == EEXIST) {
                continue;
            }
            if (file) {
                fchmod(file.get(), mode);
            }
        }
        struct stat status {};
        if (!file || fstat(file.get(), &status) != 0) {
            failWithErrno(errno);
            return {};
        }
        if (!S_ISREG(status.st_mode)) {
            SetLastError(ERROR_ACCESS_DENIED);
            return {};
        }
        return file;
    }
}

bool isFileAt(int file, const std::string& path) {
    struct stat open {};
    struct stat named {};
    return fstat(file, &open) == 0 && lstat(path.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}

bool lockByte(int file, int byte, unsigned wait) {
    if (wait == INFINITE) {
        return setLock(file, F_OFD_SETLKW, F_WRLCK, byte) == 0 || failWithErrno(errno);
    }
    // The kernel has no timed form: look again, ever less often.
    const auto end = Clock::now() + milliseconds(wait);
    for (std::chrono::microseconds pause(250);;
         pause = std::min<std::chrono::microseconds>(pause * 2, milliseconds(8))) {
        if (setLock(file, F_OFD_SETLK, F_WRLCK, byte) == 0) {
            return true;
        }
        if (errno != EAGAIN && errno != EACCES) {
            return failWithErrno(errno);
        }
        const auto now = Clock::now();
        if (now >= end) {
            SetLastError(WAIT_TIMEOUT);
            return false;
        }
        std::this_thread::sleep_for(std::min<Clock::duration>(pause, end - now));
    }
}

void unlockByte(int file, int byte) { setLock(file, F_OFD_SETLK, F_UNLCK, byte); }

Descriptor openLocked(const std::string& path, int byte, bool create, unsigned mode) {
    for (;;) {
        Descriptor file = openNameFile(path, create, mode);
        if (!file || !lockByte(file.get(), byte, guardMilliseconds)) {
            return {};
        }
        if (isFileAt(file.get(), path)) {
            return file;
        }
    }
}

}  // namespace win32
