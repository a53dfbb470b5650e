// What is imported late is loaded from the system's own directory, so that nothing beside the program can pose as it.

#include <windows.h>
//
#include <delayimp.h>

namespace {

FARPROC WINAPI loadFromSystem(unsigned event, PDelayLoadInfo import) {
    if (event != dliNotePreLoadLibrary) {
        return nullptr;  // as ever
    }
    const HMODULE library = LoadLibraryExA(import->szDll, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(library));
}

}  // namespace

PfnDliHook __pfnDliNotifyHook2 = loadFromSystem;  // of the compiler's run-time library
