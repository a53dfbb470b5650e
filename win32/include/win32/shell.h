// Known folders, and starting programs and documents as the desktop's shell does.
//
// SHGetKnownFolderPath: the folder's path, which need not exist; the caller frees it by CoTaskMemFree, also on
// failure. On Linux the XDG user and base directories; docs/locations.md has the table. The code of
// ERROR_FILE_NOT_FOUND (0x80070002) for a folder that isn't declared here.
// ShellExecuteExW (recorded: verb, file, parameters, directory): the verb "open" starts a program with the parameters
// split as the Windows C runtime splits them, detached from the caller: it inherits no handle, its standard streams
// are /dev/null, and it leaves no zombie. On Linux programs carry no ".exe": where NAME.exe is absent, NAME is
// started; a file of that ending gets the execute bit that it lacks. A program whose file this process holds by the
// very path, without sharing its deletion, is started from that file, whatever stands at the path by now. Addresses,
// folders and files that can't be executed go to the desktop's opener. A name below the computer's own folder,
// "::{20D04FE0-3AEA-1069-A2D8-08002B30309D}\NAME", is a connected device: its place in the file manager is opened where
// it has one, else the file manager's list of devices. The verb "runas" starts a program with the rights of an
// administrator, for which the desktop asks the user first (polkit), and returns with the answer: ERROR_CANCELLED if
// that was no, ERROR_ACCESS_DENIED if there was nobody to ask. With SEE_MASK_NOCLOSEPROCESS a started program's handle
// (win32/process.h) is the caller's; null for what the opener shows. The case of verbs doesn't matter; none is "open",
// and any other is ERROR_NO_ASSOCIATION. False with the error code if nothing was started; hInstApp is above 32 for
// success, else one of the old codes up to 32. Any thread. ShellExecuteA, ShellExecuteW: the same; a value of 33 or
// more is success. Narrow text is UTF-8.
#pragma once

#include "win32/com.h"
#include "win32/types.h"
#include "win32/window.h"

#ifdef _WIN32

#include <shellapi.h>
#include <shlobj.h>

#else

#define SEE_MASK_NOCLOSEPROCESS 0x40U
#define SEE_MASK_FLAG_NO_UI 0x400U

struct SHELLEXECUTEINFOW {
    DWORD cbSize;
    ULONG fMask;
    HWND hwnd;
    LPCWSTR lpVerb;
    LPCWSTR lpFile;
    LPCWSTR lpParameters;
    LPCWSTR lpDirectory;
    int nShow;
    HINSTANCE hInstApp;
    void* lpIDList;
    LPCWSTR lpClass;
    HKEY hkeyClass;
    DWORD dwHotKey;
    union {
        HANDLE hIcon;
        HANDLE hMonitor;
    };
    HANDLE hProcess;
};
static_assert(sizeof(SHELLEXECUTEINFOW) == 112);

inline constexpr KNOWNFOLDERID FOLDERID_Desktop = {
    0xB4BFCC3A, 0xDB2C, 0x424C, {0xB0, 0x29, 0x7F, 0xE9, 0x9A, 0x87, 0xC6, 0x41}};
inline constexpr KNOWNFOLDERID FOLDERID_Documents = {
    0xFDD39AD0, 0x238F, 0x46AF, {0xAD, 0xB4, 0x6C, 0x85, 0x48, 0x03, 0x69, 0xC7}};
inline constexpr KNOWNFOLDERID FOLDERID_LocalAppData = {
    0xF1B32785, 0x6FBA, 0x4FCF, {0x9D, 0x55, 0x7B, 0x8E, 0x7F, 0x15, 0x70, 0x91}};
inline constexpr KNOWNFOLDERID FOLDERID_Music = {
    0x4BD8D571, 0x6D19, 0x48D3, {0xBE, 0x97, 0x42, 0x22, 0x20, 0x08, 0x0E, 0x43}};
inline constexpr KNOWNFOLDERID FOLDERID_Pictures = {
    0x33E28130, 0x4E1E, 0x4676, {0x83, 0x5A, 0x98, 0x39, 0x5C, 0x3B, 0xC3, 0xBB}};
inline constexpr KNOWNFOLDERID FOLDERID_Profile = {
    0x5E6C858F, 0x0E22, 0x4760, {0x9A, 0xFE, 0xEA, 0x33, 0x17, 0xB6, 0x71, 0x73}};
inline constexpr KNOWNFOLDERID FOLDERID_ProgramData = {
    0x62AB5D82, 0xFDC1, 0x4DC3, {0xA9, 0xDD, 0x07, 0x0D, 0x1D, 0x49, 0x5D, 0x97}};
inline constexpr KNOWNFOLDERID FOLDERID_RoamingAppData = {
    0x3EB685DB, 0x65F9, 0x4CF6, {0xA0, 0x3A, 0xE3, 0xEF, 0x65, 0x72, 0x9F, 0x3D}};

extern "C" {
HRESULT WINAPI SHGetKnownFolderPath(REFKNOWNFOLDERID folder, DWORD flags, HANDLE token, PWSTR* path);
BOOL WINAPI ShellExecuteExW(SHELLEXECUTEINFOW* info);
HINSTANCE WINAPI ShellExecuteW(HWND window, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR directory,
                               int show);
HINSTANCE WINAPI ShellExecuteA(HWND window, LPCSTR verb, LPCSTR file, LPCSTR parameters, LPCSTR directory, int show);
}

#endif
