// Giving memory back that a program won't use for a while.
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include "linux/support/scripted.h"
#include "win32/kernel.h"

namespace {

// Code and constants of a loaded object: their file brings them back when they are used again. What the loader has
// relocated lies in writable segments. The caller has the loader's lock, so the object stays.
int releaseSegments(dl_phdr_info* object, std::size_t /*size*/, void* /*data*/) {
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    for (const ElfW(Phdr)* segment = object->dlpi_phdr; segment != object->dlpi_phdr + object->dlpi_phnum; ++segment) {
        if (segment->p_type == PT_LOAD && (segment->p_flags & PF_W) == 0) {
            const std::uintptr_t begin = (object->dlpi_addr + segment->p_vaddr) & ~(page - 1);
            const std::uintptr_t end =
                (object->dlpi_addr + segment->p_vaddr + segment->p_memsz + page - 1) & ~(page - 1);
            madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
        }
    }
    return 0;
}

}  // namespace

HANDLE WINAPI GetCurrentProcess() { return reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1)); }

BOOL WINAPI SetProcessWorkingSetSize(HANDLE process, SIZE_T minimum, SIZE_T maximum) {
    WIN32_MAY_FAIL("SetProcessWorkingSetSize", FALSE);
    constexpr auto empty = static_cast<SIZE_T>(-1);
    if (process != GetCurrentProcess() || minimum != empty || maximum != empty) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    malloc_trim(0);
    dl_iterate_phdr(releaseSegments, nullptr);
    return TRUE;
}
