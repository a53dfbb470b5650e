#include "linux/files/file_sharing.h"

#include <fcntl.h>

#include <bit>
#include <cerrno>

#include "win32/error.h"
#include "win32/file.h"

namespace win32 {

namespace {

constexpr off_t firstLockByte = off_t{1} << 62;

// An access has one byte for those who hold it and one for those who deny it to others, each a bit of a set here.
struct Access {
    unsigned held;
    unsigned denied;
};

// So ordered that what usual openings lock, and what they look for, lies side by side and takes one call each.
constexpr Access reading{1U << 4U, 1U << 0U};
constexpr Access writing{1U << 2U, 1U << 3U};
constexpr Access deletion{1U << 1U, 1U << 5U};

// Whether `attempt` succeeds for each run of neighbours in the set.
template <typename Attempt>
bool allRuns(unsigned set, short type, Attempt attempt) {
    while (set != 0) {
        const int first = std::countr_zero(set);
        const int length = std::countr_one(set >> static_cast<unsigned>(first));
        struct flock lock {};
        lock.l_type = type;
        lock.l_whence = SEEK_SET;
        lock.l_start = firstLockByte + first;
        lock.l_len = length;
        if (!attempt(lock)) {
            return false;
        }
        set &= set + (1U << static_cast<unsigned>(first));
    }
    return true;
}

bool takeLocks(int descriptor, unsigned set) {
    return allRuns(set, F_RDLCK, [descriptor](struct flock& lock) {
        return fcntl(descriptor, F_OFD_SETLK, &lock) == 0 || (errno != EAGAIN && errno != EACCES);
    });
}

// Asking for locks of the other kind needs no right to write; taking them would.
bool noOtherHolds(int descriptor, unsigned set) {
    return allRuns(set, F_WRLCK, [descriptor](struct flock& lock) {
        return fcntl(descriptor, F_OFD_GETLK, &lock) != 0 || lock.l_type == F_UNLCK;
    });
}

}  // namespace

bool claimFile(int descriptor, const FileClaim& claim) {
    if ((claim.access & (GENERIC_READ | GENERIC_WRITE)) == 0 && !claim.deletes) {
        return true;  // such a handle denies nothing, and nothing is denied to it
    }
    unsigned own = 0;
    unsigned contrary = 0;
    const auto add = [&](bool uses, DWORD share, const Access& access) {
        const bool denies = (claim.sharing & share) == 0;
        own |= (uses ? access.held : 0) | (denies ? access.denied : 0);
        contrary |= (uses ? access.denied : 0) | (denies ? access.held : 0);
    };
    add((claim.access & GENERIC_READ) != 0, FILE_SHARE_READ, reading);
    add((claim.access & GENERIC_WRITE) != 0, FILE_SHARE_WRITE, writing);
    add(claim.deletes && !claim.besideOwnFile, FILE_SHARE_DELETE, deletion);
    own |= claim.deletes ? deletion.held : 0;
    if (takeLocks(descriptor, own) && noOtherHolds(descriptor, contrary)) {
        return true;
    }
    SetLastError(ERROR_SHARING_VIOLATION);
    return false;
}

}  // namespace win32
