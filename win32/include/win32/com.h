// The component model, as far as the portable device manager and the dialogs need it.
//
// CoInitializeEx enters the calling thread into an apartment: S_OK, S_FALSE if it was in it already,
// RPC_E_CHANGED_MODE if it is in one of the other kind. CoCreateInstance makes an object of a class that the layer
// knows (win32/device.h, win32/dialog.h); CO_E_NOTINITIALIZED on a thread outside of every apartment while no thread is
// in the multithreaded one, REGDB_E_CLASSNOTREG for an unknown class, CLASS_E_NOAGGREGATION if `outer` isn't null.
// Memory that an operation hands out is given back by CoTaskMemFree, which takes null.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifdef _WIN32

#include <objbase.h>

#else

#define STDMETHODCALLTYPE

#define COINIT_MULTITHREADED 0x0U
#define COINIT_APARTMENTTHREADED 0x2U
#define CLSCTX_INPROC_SERVER 0x1U
#define CLASS_E_NOAGGREGATION (static_cast<HRESULT>(0x80040110U))
#define CO_E_NOTINITIALIZED (static_cast<HRESULT>(0x800401F0U))
#define RPC_E_CHANGED_MODE (static_cast<HRESULT>(0x80010106U))

struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID interfaceId, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};
using LPUNKNOWN = IUnknown*;

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

inline bool operator==(REFGUID a, REFGUID b) { return __builtin_memcmp(&a, &b, sizeof a) == 0; }

extern "C" {
HRESULT WINAPI CoInitializeEx(LPVOID reserved, DWORD flags);
HRESULT WINAPI CoCreateInstance(REFCLSID classId, LPUNKNOWN outer, DWORD context, REFIID interfaceId, LPVOID* object);
LPVOID WINAPI CoTaskMemAlloc(SIZE_T size);
void WINAPI CoTaskMemFree(LPVOID memory);
}

#endif
