// What lies beside a program under the name of a library of the system: it tells that it was loaded.

#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE /*library*/, DWORD /*reason*/, LPVOID /*reserved*/) { ExitProcess(66); }
