// Fixed and movable memory, and streams over it. A handle of movable memory has a bit set that no address of fixed
// memory has.
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "linux/kernel/com_object.h"
#include "linux/kernel/memory_stream.h"
#include "linux/support/scripted.h"
#include "win32/kernel.h"
#include "win32/resource.h"

namespace win32 {

namespace {

struct GlobalMemory {
    std::vector<BYTE> bytes;
    std::atomic<unsigned> locks = 0;
};

constexpr ULONG_PTR movableMark = 2;

bool isFixed(HGLOBAL handle) { return (reinterpret_cast<ULONG_PTR>(handle) & movableMark) == 0; }

HGLOBAL handleOf(GlobalMemory* memory) {
    return reinterpret_cast<HGLOBAL>(reinterpret_cast<ULONG_PTR>(memory) | movableMark);
}

// Null for fixed memory.
GlobalMemory* memoryOf(HGLOBAL handle) {
    return isFixed(handle) ? nullptr
                           : reinterpret_cast<GlobalMemory*>(reinterpret_cast<ULONG_PTR>(handle) ^ movableMark);
}

class MemoryStream final : public ComObject<IStream, IID_IUnknown> {
public:
    MemoryStream(GlobalMemory* memory, bool owns) : memory_(memory), owns_(owns) {}
    ~MemoryStream() override {
        if (owns_) {
            delete memory_;
        }
    }
    std::span<const BYTE> bytes() const { return memory_->bytes; }

private:
    GlobalMemory* memory_;
    bool owns_;
};

}  // namespace

std::span<const BYTE> bytesOf(IStream* stream) { return static_cast<MemoryStream*>(stream)->bytes(); }

}  // namespace win32

HLOCAL WINAPI LocalAlloc(UINT flags, SIZE_T size) {
    WIN32_MAY_FAIL("LocalAlloc", nullptr);
    if (flags != LMEM_FIXED) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const HLOCAL memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return memory;
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T size) {
    WIN32_MAY_FAIL("GlobalAlloc", nullptr);
    if (flags != GMEM_MOVEABLE && flags != GMEM_FIXED) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    if (flags == GMEM_FIXED) {
        void* const memory = std::malloc(size == 0 ? 1 : size);
        if (memory == nullptr) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        }
        return memory;
    }
    try {
        auto memory = std::make_unique<win32::GlobalMemory>();
        memory->bytes.resize(size);
        return win32::handleOf(memory.release());
    } catch (const std::exception&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

LPVOID WINAPI GlobalLock(HGLOBAL handle) {
    WIN32_MAY_FAIL("GlobalLock", nullptr);
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    win32::GlobalMemory* const memory = win32::memoryOf(handle);
    if (memory == nullptr) {
        return handle;
    }
    if (memory->bytes.empty()) {
        SetLastError(ERROR_DISCARDED);
        return nullptr;
    }
    ++memory->locks;
    return memory->bytes.data();
}

BOOL WINAPI GlobalUnlock(HGLOBAL handle) {
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    win32::GlobalMemory* const memory = win32::memoryOf(handle);
    if (memory == nullptr) {
        return TRUE;
    }
    const bool wasLocked = memory->locks > 0;
    if (wasLocked && --memory->locks > 0) {
        return TRUE;
    }
    SetLastError(wasLocked ? NO_ERROR : ERROR_NOT_LOCKED);
    return FALSE;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL handle) {
    WIN32_MAY_FAIL("GlobalFree", handle);
    if (win32::isFixed(handle)) {
        std::free(handle);
    } else {
        delete win32::memoryOf(handle);
    }
    return nullptr;
}

HRESULT WINAPI CreateStreamOnHGlobal(HGLOBAL memory, BOOL deleteOnRelease, LPSTREAM* stream) {
    if (stream == nullptr) {
        return E_INVALIDARG;
    }
    *stream = nullptr;
    WIN32_MAY_RETURN("CreateStreamOnHGlobal", HRESULT);
    if (memory == nullptr) {
        memory = GlobalAlloc(GMEM_MOVEABLE, 0);
    }
    if (win32::isFixed(memory)) {
        return memory == nullptr ? E_OUTOFMEMORY : E_INVALIDARG;
    }
    *stream = new win32::MemoryStream(win32::memoryOf(memory), deleteOnRelease != FALSE);
    return S_OK;
}
