// The class behind CLSID_PortableDeviceManager.
#pragma once

#include "win32/com.h"

namespace win32 {

// Makes a manager and hands it out through the interface asked for; E_NOINTERFACE for one that it doesn't have.
HRESULT createPortableDeviceManager(REFIID interfaceId, void** object);

}  // namespace win32
