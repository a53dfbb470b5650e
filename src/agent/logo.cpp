#include "agent/logo.h"

#include <cstring>
#include <memory>
#include <type_traits>

#include "base/log.h"
#include "win32/error.h"
#include "win32/resource.h"

namespace agent {

namespace {

constexpr WORD logoResource = 102;
constexpr Gdiplus::ARGB background = 0xFF000000;

struct PackagedBytes {
    const void* bytes = nullptr;
    DWORD size = 0;
};

struct FreeGlobal {
    void operator()(void* memory) const { GlobalFree(memory); }
};
using GlobalMemory = std::unique_ptr<void, FreeGlobal>;

struct ReleaseStream {
    void operator()(IStream* stream) const { stream->Release(); }
};
using Stream = std::unique_ptr<IStream, ReleaseStream>;

struct DisposeImage {
    void operator()(Gdiplus::GpBitmap* bitmap) const { Gdiplus::DllExports::GdipDisposeImage(bitmap); }
};
using Bitmap = std::unique_ptr<Gdiplus::GpBitmap, DisposeImage>;

// `bytes` is null on failure.
PackagedBytes findLogo() {
    HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(logoResource), RT_RCDATA);
    if (found == nullptr) {
        base::logLine("Failed to find logo resource, ", GetLastError());
        return {};
    }
    HGLOBAL loaded = LoadResource(nullptr, found);
    if (loaded == nullptr) {
        base::logLine("Failed to load logo resource, ", GetLastError());
        return {};
    }
    const void* const bytes = LockResource(loaded);
    if (bytes == nullptr) {
        base::logLine("Failed to lock logo resource");
        return {};
    }
    const DWORD size = SizeofResource(nullptr, found);
    if (size == 0) {
        base::logLine("Failed to get resource size, ", GetLastError());
        return {};
    }
    return {bytes, size};
}

Stream streamOver(const PackagedBytes& logo) {
    GlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, logo.size));
    if (!memory) {
        base::logLine("Failed to allocate memory for image resource, ", GetLastError());
        return nullptr;
    }
    void* const target = GlobalLock(memory.get());
    if (target == nullptr) {
        base::logLine("Failed to lock global memory");
        return nullptr;
    }
    std::memcpy(target, logo.bytes, logo.size);
    GlobalUnlock(memory.get());
    IStream* stream = nullptr;
    if (FAILED(CreateStreamOnHGlobal(memory.get(), TRUE, &stream))) {
        base::logLine("Failed to allocate stream from global memory");
        return nullptr;
    }
    static_cast<void>(memory.release());  // the stream's now
    return Stream(stream);
}

Bitmap decode(IStream* stream) {
    Gdiplus::GpBitmap* bitmap = nullptr;
    const auto status = Gdiplus::DllExports::GdipCreateBitmapFromStream(stream, &bitmap);
    if (status == Gdiplus::OutOfMemory) {
        base::logLine("Failed to allocate bitmap from stream");
        return nullptr;
    }
    if (status != Gdiplus::Ok) {
        base::logLine("Failed to load bitmpa from stream");
        return nullptr;
    }
    return Bitmap(bitmap);
}

}  // namespace

HBITMAP loadLogo() {
    const PackagedBytes packaged = findLogo();
    const Stream stream = packaged.bytes == nullptr ? nullptr : streamOver(packaged);
    const Bitmap bitmap = stream ? decode(stream.get()) : nullptr;
    if (!bitmap) {
        return nullptr;
    }
    HBITMAP result = nullptr;
    if (Gdiplus::DllExports::GdipCreateHBITMAPFromBitmap(bitmap.get(), &result, background) != Gdiplus::Ok) {
        base::logLine("Failed to convert GDI+ bitmap into HBITMAP");
        return nullptr;
    }
    return result;
}

void drawLogo(const DRAWITEMSTRUCT& item, HBITMAP logo) {
    const int width = item.rcItem.right - item.rcItem.left;
    const int height = item.rcItem.bottom - item.rcItem.top;
    HDC memory = CreateCompatibleDC(item.hDC);
    if (memory == nullptr) {
        base::logLine("Failed to create compatible device context");
        return;
    }
    HGDIOBJ before = SelectObject(memory, logo);
    constexpr BLENDFUNCTION blend{AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};
    if (AlphaBlend(item.hDC, 0, 0, width, height, memory, 0, 0, width, height, blend) == FALSE) {
        StretchBlt(item.hDC, 0, 0, width, height, memory, 0, 0, width, height, SRCCOPY);
    }
    SelectObject(memory, before);
    DeleteDC(memory);
}

}  // namespace agent
