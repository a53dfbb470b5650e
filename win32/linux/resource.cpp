#include "win32/resource.h"

#include "linux/resource_list.h"
#include "linux/scripted.h"

namespace win32 {

namespace {

// Set before any constructor runs, so that resources of all sources can enter themselves.
constinit const EmbeddedResource* last = nullptr;

const EmbeddedResource* resourceOf(HRSRC handle) {
    if (handle == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
    }
    return reinterpret_cast<const EmbeddedResource*>(handle);
}

}  // namespace

EmbeddedResource::EmbeddedResource(ResourceKind ofKind, unsigned itsNumber, const unsigned char* from,
                                   const unsigned char* to)
    : kind(ofKind), number(itsNumber), begin(from), size(static_cast<std::size_t>(to - from)), next(last) {
    last = this;
}

const EmbeddedResource* embeddedResources() { return last; }

}  // namespace win32

HRSRC WINAPI FindResourceW(HMODULE /*module*/, LPCWSTR name, LPCWSTR type) {
    WIN32_MAY_FAIL("FindResourceW", nullptr);
    for (const auto* each = win32::last; each != nullptr; each = each->next) {
        if (each->number == reinterpret_cast<ULONG_PTR>(name) &&
            static_cast<ULONG_PTR>(each->kind) == reinterpret_cast<ULONG_PTR>(type)) {
            return reinterpret_cast<HRSRC>(reinterpret_cast<ULONG_PTR>(each));
        }
    }
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return nullptr;
}

HGLOBAL WINAPI LoadResource(HMODULE /*module*/, HRSRC resource) {
    WIN32_MAY_FAIL("LoadResource", nullptr);
    return win32::resourceOf(resource) == nullptr ? nullptr : resource;
}

LPVOID WINAPI LockResource(HGLOBAL data) {
    WIN32_MAY_FAIL("LockResource", nullptr);
    const auto* const resource = win32::resourceOf(static_cast<HRSRC>(data));
    // Windows, too, hands out read-only bytes by a pointer that may write.
    return resource == nullptr ? nullptr : const_cast<unsigned char*>(resource->begin);
}

DWORD WINAPI SizeofResource(HMODULE /*module*/, HRSRC resource) {
    WIN32_MAY_FAIL("SizeofResource", 0);
    const auto* const found = win32::resourceOf(resource);
    return found == nullptr ? 0 : static_cast<DWORD>(found->size);
}
