// Movable memory, and streams over it.
#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include "linux/memory_stream.h"
#include "linux/scripted.h"
#include "win32/resource.h"

namespace win32 {

namespace {

struct GlobalMemory {
    std::vector<BYTE> bytes;
    std::atomic<unsigned> locks = 0;
};

GlobalMemory* memoryOf(HGLOBAL handle) {
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
    }
    return static_cast<GlobalMemory*>(handle);
}

class MemoryStream final : public IStream {
public:
    MemoryStream(GlobalMemory* memory, bool owns) : memory_(memory), owns_(owns) {}
    MemoryStream(const MemoryStream&) = delete;
    MemoryStream& operator=(const MemoryStream&) = delete;

    HRESULT QueryInterface(REFIID interfaceId, void** object) override {
        const bool isKnown = interfaceId == IID_IUnknown;
        *object = isKnown ? this : nullptr;
        return isKnown ? (AddRef(), S_OK) : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++references_; }
    ULONG Release() override {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    std::span<const BYTE> bytes() const { return memory_->bytes; }

private:
    ~MemoryStream() {
        if (owns_) {
            delete memory_;
        }
    }

    GlobalMemory* memory_;
    bool owns_;
    std::atomic<ULONG> references_ = 1;
};

}  // namespace

std::span<const BYTE> bytesOf(IStream* stream) { return static_cast<MemoryStream*>(stream)->bytes(); }

}  // namespace win32

HGLOBAL WINAPI GlobalAlloc(UINT flags, SIZE_T size) {
    WIN32_MAY_FAIL("GlobalAlloc", nullptr);
    if (flags != GMEM_MOVEABLE) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    try {
        auto memory = std::make_unique<win32::GlobalMemory>();
        memory->bytes.resize(size);
        return memory.release();
    } catch (const std::exception&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

LPVOID WINAPI GlobalLock(HGLOBAL handle) {
    WIN32_MAY_FAIL("GlobalLock", nullptr);
    win32::GlobalMemory* const memory = win32::memoryOf(handle);
    if (memory == nullptr) {
        return nullptr;
    }
    ++memory->locks;
    return memory->bytes.data();
}

BOOL WINAPI GlobalUnlock(HGLOBAL handle) {
    win32::GlobalMemory* const memory = win32::memoryOf(handle);
    if (memory == nullptr) {
        return FALSE;
    }
    SetLastError(memory->locks == 0 ? ERROR_NOT_LOCKED : NO_ERROR);
    return memory->locks > 0 && --memory->locks > 0;
}

HGLOBAL WINAPI GlobalFree(HGLOBAL handle) {
    WIN32_MAY_FAIL("GlobalFree", handle);
    delete static_cast<win32::GlobalMemory*>(handle);
    return nullptr;
}

HRESULT WINAPI CreateStreamOnHGlobal(HGLOBAL memory, BOOL deleteOnRelease, LPSTREAM* stream) {
    *stream = nullptr;
    WIN32_MAY_RETURN("CreateStreamOnHGlobal", HRESULT);
    if (memory == nullptr) {
        return E_INVALIDARG;
    }
    *stream = new win32::MemoryStream(static_cast<win32::GlobalMemory*>(memory), deleteOnRelease != FALSE);
    return S_OK;
}
