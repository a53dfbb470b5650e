// The classes behind CLSID_FileOpenDialog and CLSID_KnownFolderManager.
#pragma once

#include <vector>

#include "win32/com.h"

namespace win32 {

// A system error as the component model carries it.
constexpr HRESULT resultOf(DWORD error) { return static_cast<HRESULT>(0x80070000U | error); }

// Each makes an object and hands it out through the interface asked for; E_NOINTERFACE for one that it doesn't have.
HRESULT createFileOpenDialog(REFIID interfaceId, void** object);
HRESULT createKnownFolderManager(REFIID interfaceId, void** object);

// The folders that SHGetKnownFolderPath knows.
std::vector<KNOWNFOLDERID> knownFolderIds();

}  // namespace win32
