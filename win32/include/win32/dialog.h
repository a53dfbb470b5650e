// Dialogs in which the user picks a file or a folder, and the manager of known folders.
//
// GetOpenFileNameW, GetSaveFileNameW block until the dialog is closed: true with the path in lpstrFile and the places
// of its name and its ending, false if nothing was chosen, for whatever cause; lpstrFile too short for the path begins
// with the number of characters needed then. Of the flags, saving's question before a file is replaced is always asked.
// A saved file's name without an extension gets lpstrDefExt, unless a file of that longer name exists. IFileOpenDialog
// picks a folder or a file: Show gives S_OK, the code of ERROR_CANCELLED (0x800704C7) if the user closed it, or a
// failure. All other operations of these interfaces give E_INVALIDARG, E_NOINTERFACE or E_FAIL on failure. On Linux the
// dialog is that of the desktop's portal (org.freedesktop.portal.FileChooser), above the owner's window where that is
// shown, and the owner's messages are dispatched meanwhile. Without a portal, or when it goes away, Show gives the code
// of ERROR_NOT_SUPPORTED (0x80070032) and the functions false. Each of our interfaces has only the operations that the
// agent calls. SHCreateItemFromParsingName: of a whole path; the code of ERROR_FILE_NOT_FOUND (0x80070002) where
// nothing is. IKnownFolderManager: GetFolderIds gives the folders of win32/shell.h, to be freed by CoTaskMemFree.
#pragma once

#include "win32/com.h"
#include "win32/shell.h"
#include "win32/types.h"
#include "win32/window.h"

#ifdef _WIN32

#include <commdlg.h>
#include <shobjidl.h>

#else

struct OPENFILENAMEW {
    DWORD lStructSize;
    HWND hwndOwner;
    HINSTANCE hInstance;
    LPCWSTR lpstrFilter;
    LPWSTR lpstrCustomFilter;
    DWORD nMaxCustFilter;
    DWORD nFilterIndex;
    LPWSTR lpstrFile;
    DWORD nMaxFile;
    LPWSTR lpstrFileTitle;
    DWORD nMaxFileTitle;
    LPCWSTR lpstrInitialDir;
    LPCWSTR lpstrTitle;
    DWORD Flags;
    WORD nFileOffset;
    WORD nFileExtension;
    LPCWSTR lpstrDefExt;
    LPARAM lCustData;
    PVOID lpfnHook;
    LPCWSTR lpTemplateName;
    PVOID pvReserved;
    DWORD dwReserved;
    DWORD FlagsEx;
};
static_assert(sizeof(OPENFILENAMEW) == 152);

#define OFN_OVERWRITEPROMPT 0x2U
#define OFN_HIDEREADONLY 0x4U
#define OFN_PATHMUSTEXIST 0x800U
#define OFN_FILEMUSTEXIST 0x1000U
#define OFN_EXPLORER 0x80000U
#define OFN_DONTADDTORECENT 0x2000000U

using FILEOPENDIALOGOPTIONS = DWORD;
#define FOS_PICKFOLDERS 0x20U
#define FOS_FORCEFILESYSTEM 0x40U
#define FOS_PATHMUSTEXIST 0x800U
#define FOS_FILEMUSTEXIST 0x1000U
#define FOS_NOTESTFILECREATE 0x10000U
#define FOS_DONTADDTORECENT 0x2000000U

enum SIGDN : DWORD {
    SIGDN_DESKTOPABSOLUTEPARSING = 0x80028000U,
    SIGDN_FILESYSPATH = 0x80058000U,
};

struct IBindCtx;

struct IShellItem : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetDisplayName(SIGDN kind, LPWSTR* name) = 0;

protected:
    ~IShellItem() = default;
};

struct IFileOpenDialog : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Show(HWND owner) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetOptions(FILEOPENDIALOGOPTIONS options) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOptions(FILEOPENDIALOGOPTIONS* options) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultFolder(IShellItem* folder) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetTitle(LPCWSTR title) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetResult(IShellItem** item) = 0;

protected:
    ~IFileOpenDialog() = default;
};

struct IKnownFolder : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetShellItem(DWORD flags, REFIID interfaceId, void** item) = 0;

protected:
    ~IKnownFolder() = default;
};

struct IKnownFolderManager : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetFolderIds(KNOWNFOLDERID** ids, UINT* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFolder(REFKNOWNFOLDERID id, IKnownFolder** folder) = 0;

protected:
    ~IKnownFolderManager() = default;
};

inline constexpr CLSID CLSID_FileOpenDialog = {
    0xDC1C5A9C, 0xE88A, 0x4DDE, {0xA5, 0xA1, 0x60, 0xF8, 0x2A, 0x20, 0xAE, 0xF7}};
inline constexpr CLSID CLSID_KnownFolderManager = {
    0x4DF0C730, 0xDF9D, 0x4AE3, {0x91, 0x53, 0xAA, 0x6B, 0x82, 0xE9, 0x79, 0x5A}};
inline constexpr IID IID_IFileOpenDialog = {
    0xD57C7288, 0xD4AD, 0x4768, {0xBE, 0x02, 0x9D, 0x96, 0x95, 0x32, 0xD9, 0x60}};
inline constexpr IID IID_IShellItem = {0x43826D1E, 0xE718, 0x42EE, {0xBC, 0x55, 0xA1, 0xE2, 0x61, 0xC3, 0x7B, 0xFE}};
inline constexpr IID IID_IKnownFolder = {0x3AA7AF7E, 0x9B36, 0x420C, {0xA8, 0xE3, 0xF7, 0x7D, 0x46, 0x74, 0xA4, 0x88}};
inline constexpr IID IID_IKnownFolderManager = {
    0x8BE2D872, 0x86AA, 0x4D47, {0xB7, 0x76, 0x32, 0xCC, 0xA4, 0x0C, 0x70, 0x18}};

extern "C" {
BOOL WINAPI GetOpenFileNameW(OPENFILENAMEW* dialog);
BOOL WINAPI GetSaveFileNameW(OPENFILENAMEW* dialog);
HRESULT WINAPI SHCreateItemFromParsingName(PCWSTR path, IBindCtx* context, REFIID interfaceId, void** item);
}

#endif
