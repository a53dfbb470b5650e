#include "win32/resource.h"

#include "linux/kernel/resource_list.h"
#include "linux/support/scripted.h"

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

constexpr ULONG_PTR numberMost = 0xFFFF;

bool isOf(const EmbeddedResource& resource, ULONG_PTR type) { return static_cast<ULONG_PTR>(resource.kind) == type; }

}  // namespace

ULONG_PTR resourceNumber(LPCWSTR name) {
    const auto value = reinterpret_cast<ULONG_PTR>(name);
    if (value <= numberMost) {
        return value;
    }
    ULONG_PTR number = 0;
    for (LPCWSTR digit = name + 1; *name == u'#' && *digit >= u'0' && *digit <= u'9' && number <= numberMost; ++digit) {
        number = number * 10 + (*digit - u'0');
    }
    return number;
}

DWORD missingResource(ULONG_PTR type) {
    if (last == nullptr) {
        return ERROR_RESOURCE_DATA_NOT_FOUND;
    }
    for (const auto* each = last; each != nullptr; each = each->next) {
        if (isOf(*each, type)) {
            return ERROR_RESOURCE_NAME_NOT_FOUND;
        }
    }
    return ERROR_RESOURCE_TYPE_NOT_FOUND;
}

EmbeddedResource::EmbeddedResource(ResourceKind ofKind, unsigned itsNumber, const unsigned char* from,
                                   const unsigned char* to)
    : kind(ofKind), number(itsNumber), begin(from), size(static_cast<std::size_t>(to - from)), next(last) {
    last = this;
}

const EmbeddedResource* embeddedResources() { return last; }

}  // namespace win32

HRSRC WINAPI FindResourceW(HMODULE /*module*/, LPCWSTR name, LPCWSTR type) {
    WIN32_MAY_FAIL("FindResourceW", nullptr);
    const ULONG_PTR number = win32::resourceNumber(name);
    const ULONG_PTR kind = win32::resourceNumber(type);
    for (const auto* each = win32::last; each != nullptr; each = each->next) {
        if (each->number == number && win32::isOf(*each, kind)) {
            return reinterpret_cast<HRSRC>(reinterpret_cast<ULONG_PTR>(each));
        }
    }
    SetLastError(win32::missingResource(kind));
    return nullptr;
}

HGLOBAL WINAPI LoadResource(HMODULE /*module*/, HRSRC resource) {
    WIN32_MAY_FAIL("LoadResource", nullptr);
    return win32::resourceOf(resource) == nullptr ? nullptr : resource;
}

LPVOID WINAPI LockResource(HGLOBAL data) {
    WIN32_MAY_FAIL("LockResource", nullptr);
    const auto* const resource = static_cast<const win32::EmbeddedResource*>(data);
    // Windows, too, hands out read-only bytes by a pointer that may write.
    return resource == nullptr ? nullptr : const_cast<unsigned char*>(resource->begin);
}

DWORD WINAPI SizeofResource(HMODULE /*module*/, HRSRC resource) {
    WIN32_MAY_FAIL("SizeofResource", 0);
    const auto* const found = win32::resourceOf(resource);
    return found == nullptr ? 0 : static_cast<DWORD>(found->size);
}
