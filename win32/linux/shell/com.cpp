#include "win32/com.h"

#include <atomic>
#include <cstdlib>

#include "linux/devices/portable_device_manager.h"
#include "linux/shell/shell_objects.h"
#include "linux/support/scripted.h"
#include "win32/device.h"
#include "win32/dialog.h"

namespace {

enum class Apartment { none, multithreaded, single };

thread_local Apartment apartment = Apartment::none;
std::atomic<bool> multithreadedExists{false};

struct Class {
    const CLSID& id;
    HRESULT (*create)(REFIID interfaceId, void** object);
};

constexpr Class classes[] = {
    {CLSID_PortableDeviceManager, win32::createPortableDeviceManager},
    {CLSID_FileOpenDialog, win32::createFileOpenDialog},
    {CLSID_KnownFolderManager, win32::createKnownFolderManager},
};

}  // namespace

HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD flags) {
    WIN32_MAY_RETURN("CoInitializeEx", HRESULT);
    if (reserved != nullptr) {
        return E_INVALIDARG;
    }
    const Apartment wanted = (flags & COINIT_APARTMENTTHREADED) != 0 ? Apartment::single : Apartment::multithreaded;
    if (apartment != Apartment::none) {
        return apartment == wanted ? S_FALSE : RPC_E_CHANGED_MODE;
    }
    apartment = wanted;
    if (wanted == Apartment::multithreaded) {
        multithreadedExists = true;
    }
    return S_OK;
}

HRESULT WINAPI CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD /*context*/, REFIID interfaceId,
                                LPVOID* object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    WIN32_MAY_RETURN("CoCreateInstance", HRESULT);
    if (apartment == Apartment::none && !multithreadedExists) {
        return CO_E_NOTINITIALIZED;
    }
    for (const auto& [known, create] : classes) {
        if (classId == known) {
            return outer == nullptr ? create(interfaceId, object) : CLASS_E_NOAGGREGATION;
        }
    }
    return REGDB_E_CLASSNOTREG;
}

LPVOID WINAPI CoTaskMemAlloc(SIZE_T size) { return std::malloc(size); }
void WINAPI CoTaskMemFree(LPVOID memory) { std::free(memory); }
