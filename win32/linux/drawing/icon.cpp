#include "linux/drawing/icon.h"

#include <algorithm>
#include <map>
#include <mutex>

#include "linux/drawing/surface.h"
#include "linux/kernel/resource_list.h"
#include "linux/support/scripted.h"

namespace win32 {

namespace {

// Larger images are of no use to a notification area; they only make messages long.
constexpr DWORD largestImage = 64;

struct IconTable {
    std::mutex mutex;
    std::map<HICON, std::shared_ptr<const Icon>> icons;
    std::mutex sharedMutex;
    std::map<ULONG_PTR, HICON> shared;  // the desktop's own at 0, then the program's by number
};

IconTable& table() {
    static auto* const instance = new IconTable;
    return *instance;
}

BYTE divided(DWORD premultiplied, DWORD alpha) {
    return static_cast<BYTE>(std::min(255U, ((premultiplied & 0xFFU) * 255 + alpha / 2) / alpha));
}

IconImage imageOf(cairo_surface_t* surface) {
    IconImage image{cairo_image_surface_get_width(surface), cairo_image_surface_get_height(surface), {}};
    image.pixels.reserve(static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height) * 4);
    for (int y = 0; y < image.height; ++y) {
        for (int x = 0; x < image.width; ++x) {
            const DWORD pixel = pixelOf(surface, x, y);
            const DWORD alpha = pixel >> 24U;
            image.pixels += static_cast<char>(alpha);
            for (const unsigned shift : {16U, 8U, 0U}) {
                image.pixels += static_cast<char>(alpha == 0 ? 0 : divided(pixel >> shift, alpha));
            }
        }
    }
    return image;
}

// As its header says; 0 for what is too short to have one.
DWORD pngWidth(const EmbeddedResource& resource) {
    constexpr std::size_t offset = 16;
    DWORD width = 0;
    for (std::size_t i = offset; i < offset + sizeof width && resource.size >= offset + sizeof width; ++i) {
        width = width << 8U | resource.begin[i];
    }
    return width;
}

// Null if the program has no such icon. Its images come in the order of their sizes.
std::shared_ptr<Icon> loadGroup(LPCWSTR name) {
    const ULONG_PTR number = resourceNumber(name);
    std::map<DWORD, const EmbeddedResource*> group;
    for (const EmbeddedResource* each = embeddedResources(); each != nullptr; each = each->next) {
        if (each->kind == ResourceKind::groupIcon && each->number == number) {
            group.emplace(pngWidth(*each), each);
        }
    }
    auto icon = std::make_shared<Icon>();
    for (const auto& [width, resource] : group) {
        const bool isOfUse = width <= largestImage || icon->images.empty();
        if (const Surface surface = isOfUse ? decodePng(resource->begin, resource->size) : nullptr) {
            icon->images.push_back(imageOf(surface.get()));
        }
    }
    if (icon->images.empty()) {
        SetLastError(missingResource(static_cast<ULONG_PTR>(ResourceKind::groupIcon)));
        return nullptr;
    }
    return icon;
}

HICON addIcon(std::shared_ptr<const Icon> icon) {
    const std::lock_guard lock(table().mutex);
    auto* const handle = reinterpret_cast<HICON>(reinterpret_cast<ULONG_PTR>(icon.get()));
    table().icons.emplace(handle, std::move(icon));
    return handle;
}

}  // namespace

std::shared_ptr<const Icon> findIcon(HICON handle) {
    const std::lock_guard lock(table().mutex);
    const auto found = table().icons.find(handle);
    return found == table().icons.end() ? nullptr : found->second;
}

}  // namespace win32

HANDLE WINAPI LoadImageW(HINSTANCE /*instance*/, LPCWSTR name, UINT type, int /*cx*/, int /*cy*/, UINT /*flags*/) {
    WIN32_MAY_FAIL("LoadImageW", nullptr);
    if (type != IMAGE_ICON) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const auto icon = win32::loadGroup(name);
    return icon ? win32::addIcon(icon) : nullptr;
}

HICON WINAPI LoadIconW(HINSTANCE instance, LPCWSTR name) {
    WIN32_MAY_FAIL("LoadIconW", nullptr);
    if (instance == nullptr && name != IDI_APPLICATION) {
        SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
        return nullptr;
    }
    const std::lock_guard lock(win32::table().sharedMutex);
    HICON& icon = win32::table().shared[instance == nullptr ? 0 : win32::resourceNumber(name) + 1];
    if (icon == nullptr) {
        const auto made = instance != nullptr
                              ? win32::loadGroup(name)
                              : std::make_shared<win32::Icon>(win32::Icon{"application-x-executable", {}});
        if (made) {
            made->isShared = true;
            icon = win32::addIcon(made);
        }
    }
    return icon;
}

BOOL WINAPI DestroyIcon(HICON icon) {
    WIN32_MAY_FAIL("DestroyIcon", FALSE);
    const std::lock_guard lock(win32::table().mutex);
    const auto found = win32::table().icons.find(icon);
    if (found == win32::table().icons.end()) {
        SetLastError(ERROR_INVALID_CURSOR_HANDLE);
        return FALSE;
    }
    if (!found->second->isShared) {
        win32::table().icons.erase(found);
    }
    return TRUE;
}
