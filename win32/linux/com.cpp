#include "win32/com.h"

#include <atomic>
#include <cstdlib>

#include "linux/portable_device_manager.h"
#include "linux/scripted.h"
#include "win32/device.h"

namespace {

enum class Apartment { none, multithreaded, single };

thread_local Apartment apartment = Apartment::none;
std::atomic<bool> multithreadedExists{false};

}  // namespace

HRESULT WINAPI CoInitializeEx(LPVOID /*reserved*/, DWORD flags) {
    WIN32_MAY_RETURN("CoInitializeEx", HRESULT);
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
    *object = nullptr;
    WIN32_MAY_RETURN("CoCreateInstance", HRESULT);
    if (apartment == Apartment::none && !multithreadedExists) {
        return CO_E_NOTINITIALIZED;
    }
    if (!(classId == CLSID_PortableDeviceManager)) {
        return REGDB_E_CLASSNOTREG;
    }
    return outer == nullptr ? win32::createPortableDeviceManager(interfaceId, object) : E_INVALIDARG;
}

LPVOID WINAPI CoTaskMemAlloc(SIZE_T size) { return std::malloc(size); }
void WINAPI CoTaskMemFree(LPVOID memory) { std::free(memory); }
