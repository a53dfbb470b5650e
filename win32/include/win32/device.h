// Portable devices (phones, players, cameras) and the properties of their device nodes.
//
// On Linux a portable device is a USB device with an interface of class 06/01/01 (still image, which is PTP and MTP),
// or of the vendor's class ff with "MTP" in its name. Its paths are composed as Windows composes them:
// \\?\usb#vid_18d1&pid_4ee1#SERIAL#{6ac27878-...}, with &mi_NN and a place in the serial's stead where the device has
// several interfaces. Where the USB device doesn't report its identifiers, the path holds the node's name and the
// transport relations name them.
//
// IPortableDeviceManager::GetDevices looks at the system afresh: with a null array it counts, else it fills at most
// `*count` entries with texts that the caller frees by CoTaskMemFree, and sets the count.
// CM_Get_Device_Interface_PropertyW knows DEVPKEY_Device_InstanceId, CM_Get_DevNode_PropertyW
// DEVPKEY_Device_TransportRelations; CR_BUFFER_SMALL sets the size that is needed (in bytes), CR_INVALID_POINTER is the
// answer to null but for a buffer of size 0, CR_INVALID_FLAG to flags.
// SetupDiGetClassDevsW finds the device that has the instance identifier given as enumerator, or every one for null; no
// device is of a class but GUID_DEVINTERFACE_WPD. SetupDiEnumDeviceInfo: ERROR_NO_MORE_ITEMS behind the last one,
// ERROR_INVALID_USER_BUFFER for a wrong cbSize. Any thread.
#pragma once

#include "win32/com.h"
#include "win32/types.h"

#ifdef _WIN32

#include <initguid.h>

#include <setupapi.h>

#include <cfgmgr32.h>
#include <devpkey.h>

// The headers of mingw lack these; the import exists.
extern "C" CMAPI CONFIGRET WINAPI CM_Get_Device_Interface_PropertyW(LPCWSTR path, const DEVPROPKEY* key,
                                                                    DEVPROPTYPE* type, PBYTE buffer, PULONG size,
                                                                    ULONG flags);

#else

using DEVINST = DWORD;
using CONFIGRET = DWORD;
using HDEVINFO = PVOID;
using DEVPROPID = ULONG;
using DEVPROPTYPE = ULONG;
using PULONG = ULONG*;

struct DEVPROPKEY {
    GUID fmtid;
    DEVPROPID pid;
};
static_assert(sizeof(DEVPROPKEY) == 20);

struct SP_DEVINFO_DATA {
    DWORD cbSize;
    GUID ClassGuid;
    DWORD DevInst;
    ULONG_PTR Reserved;
};
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
using PSP_DEVINFO_DATA = SP_DEVINFO_DATA*;

#define CR_SUCCESS 0x0U
#define CR_INVALID_POINTER 0x3U
#define CR_INVALID_FLAG 0x4U
#define CR_INVALID_DEVNODE 0x5U
#define CR_BUFFER_SMALL 0x1AU
#define CR_NO_SUCH_VALUE 0x25U
#define CR_NO_SUCH_DEVICE_INTERFACE 0x37U

#define DIGCF_PRESENT 0x2U
#define DIGCF_DEVICEINTERFACE 0x10U

#define DEVPROP_TYPE_STRING 0x12U
#define DEVPROP_TYPE_STRING_LIST 0x2012U

inline constexpr DEVPROPKEY DEVPKEY_Device_InstanceId = {
    {0x78C34FC8, 0x104A, 0x4ACA, {0x9E, 0xA4, 0x52, 0x4D, 0x52, 0x99, 0x6E, 0x57}}, 256};
inline constexpr DEVPROPKEY DEVPKEY_Device_TransportRelations = {
    {0x4340A6C5, 0x93FA, 0x4706, {0x97, 0x2C, 0x7B, 0x64, 0x80, 0x08, 0xA5, 0xA7}}, 11};

extern "C" {
CONFIGRET WINAPI CM_Get_Device_Interface_PropertyW(LPCWSTR path, const DEVPROPKEY* key, DEVPROPTYPE* type, PBYTE buffer,
                                                   PULONG size, ULONG flags);
CONFIGRET WINAPI CM_Get_DevNode_PropertyW(DEVINST device, const DEVPROPKEY* key, DEVPROPTYPE* type, PBYTE buffer,
                                          PULONG size, ULONG flags);
HDEVINFO WINAPI SetupDiGetClassDevsW(const GUID* interfaceClass, LPCWSTR enumerator, HWND parent, DWORD flags);
BOOL WINAPI SetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, PSP_DEVINFO_DATA device);
BOOL WINAPI SetupDiDestroyDeviceInfoList(HDEVINFO set);
}

#endif

// The portable device API is missing from mingw's headers, so these stand here for both systems. Of the manager's
// operations only the first is declared: nothing calls the ones behind it.
inline constexpr CLSID CLSID_PortableDeviceManager = {
    0x0AF10CEC, 0x2ECD, 0x4B92, {0x95, 0x81, 0x34, 0xF6, 0xAE, 0x06, 0x37, 0xF3}};
inline constexpr IID IID_IPortableDeviceManager = {
    0xA1567595, 0x4C2F, 0x4574, {0xA6, 0xFA, 0xEC, 0xEF, 0x91, 0x7B, 0x9A, 0x40}};
inline constexpr GUID GUID_DEVINTERFACE_WPD = {
    0x6AC27878, 0xA6FA, 0x4155, {0xBA, 0x85, 0xF9, 0x8F, 0x49, 0x1D, 0x4F, 0x33}};

struct IPortableDeviceManager : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDevices(LPWSTR* deviceIds, DWORD* count) = 0;

protected:
    ~IPortableDeviceManager() = default;
};
