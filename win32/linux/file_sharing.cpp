#include "linux/file_sharing.h"

#include <fcntl.h>

#include <cerrno>

#include "win32/error.h"
#include "win32/file.h"

namespace win32 {

namespace {

constexpr off_t firstLockByte = off_t{1} << 62;

// An access that one holder has and another may deny.
struct Access {
    bool held;
    bool denied;
    off_t heldByte;
    off_t deniedByte;
};

struct flock lockOf(short type, off_t byte) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool takeLock(int descriptor, off_t byte) {
    struct flock lock = lockOf(F_RDLCK, byte);
    return fcntl(descriptor, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
}

// Asking for a lock of the other kind needs no right to write; taking one would.
bool anotherHolds(int descriptor, off_t byte) {
    struct flock lock = lockOf(F_WRLCK, byte);
    return fcntl(descriptor, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool claimAccess(int descriptor, const Access& access) {
    return (!access.held || takeLock(descriptor, access.heldByte)) &&
           (!access.denied || takeLock(descriptor, access.deniedByte)) &&
           (!access.held || !anotherHolds(descriptor, access.deniedByte)) &&
           (!access.denied || !anotherHolds(descriptor, access.heldByte));
}

}  // namespace

bool claimFile(int descriptor, const FileClaim& claim) {
    const auto accessOf = [&](bool held, DWORD share, off_t index) {
        const off_t byte = firstLockByte + 2 * index;
        return Access{held, (claim.sharing & share) == 0, byte, byte + 1};
    };
    const bool deletesOfOthers = claim.deletes && !claim.besideOwnFile;
    const Access deletion = accessOf(deletesOfOthers, FILE_SHARE_DELETE, 2);
    if (claimAccess(descriptor, accessOf((claim.access & GENERIC_READ) != 0, FILE_SHARE_READ, 0)) &&
        claimAccess(descriptor, accessOf((claim.access & GENERIC_WRITE) != 0, FILE_SHARE_WRITE, 1)) &&
        claimAccess(descriptor, deletion) && (!claim.deletes || takeLock(descriptor, deletion.heldByte))) {
        return true;
    }
    SetLastError(ERROR_SHARING_VIOLATION);
    return false;
}

}  // namespace win32
