// The dialogs in which the user picks a file or a folder.
#include <array>
#include <boost/filesystem/operations.hpp>
#include <map>
#include <memory>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/number.h"
#include "base/paths.h"
#include "platform/platform_win32.h"
#include "win32/dialog.h"
#include "win32/file.h"

namespace dockset {

namespace fs = boost::filesystem;

namespace {

// What a dialog may give: a buffer that is too small for it makes the choice look like none.
constexpr std::size_t longestPath = 32'768;

struct ReleaseInterface {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <typename Interface>
using Com = std::unique_ptr<Interface, ReleaseInterface>;

// Calls `make` with the place for an interface; null on failure.
template <typename Interface, typename Make>
Com<Interface> makeCom(Make make) {
    Interface* made = nullptr;
    return FAILED(make(&made)) ? nullptr : Com<Interface>(made);
}

template <typename Interface>
Com<Interface> createInstance(REFCLSID classId, REFIID interfaceId) {
    return makeCom<Interface>([&](Interface** made) {
        return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, interfaceId, reinterpret_cast<LPVOID*>(made));
    });
}

Com<IFileOpenDialog> createFileDialog() {
    return createInstance<IFileOpenDialog>(CLSID_FileOpenDialog, IID_IFileOpenDialog);
}

bool isDirectory(const fs::path& path) {
    try {
        return fs::is_directory(fs::status(path));
    } catch (const std::exception&) {
        return false;
    }
}

std::string pathBytes(const WideString& path) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(path.data());
    for (std::size_t i = 0; i < path.size() * sizeof(WCHAR); ++i) {
        text += digits[bytes[i] >> 4U];
        text += digits[bytes[i] & 0xFU];
    }
    return text;
}

data::Value chosenPath(const char* mark, const WideString& path) {
    data::Value result(data::ValueType::Object);
    result.set(mark, true);
    result.set("pathBytes", pathBytes(path));
    return result;
}

struct FileDialog {
    WideString title;
    WideString filterName;
    WideString extension;  // without a point; empty: no filter
    fs::path folder;       // counts only if it exists
    bool saves = false;
};

// A name and a pattern, each ended by a zero, and one more; without an extension that one alone.
WideString composeFilter(const FileDialog& dialog) {
    const WideString zero(1, WCHAR{});
    return dialog.extension.empty() ? zero : dialog.filterName + zero + W("*.") + dialog.extension + zero + zero;
}

// The path chosen, cut if it is too long for callers; empty if there is none.
WideString showFileDialog(const FileDialog& dialog, void* owner) {
    constexpr DWORD saving =
        OFN_EXPLORER | OFN_DONTADDTORECENT | OFN_OVERWRITEPROMPT | OFN_HIDEREADONLY | OFN_PATHMUSTEXIST;
    constexpr DWORD opening = OFN_EXPLORER | OFN_DONTADDTORECENT | OFN_FILEMUSTEXIST;
    const WideString filter = composeFilter(dialog);
    const WideString folder = base::widePath(dialog.folder);
    WideString path(longestPath, 0);
    OPENFILENAMEW name{};
    name.lStructSize = sizeof name;
    name.hwndOwner = static_cast<HWND>(owner);
    name.lpstrFilter = filter.c_str();
    name.lpstrFile = path.data();
    name.nMaxFile = static_cast<DWORD>(path.size());
    name.lpstrInitialDir = isDirectory(dialog.folder) ? folder.c_str() : nullptr;
    name.lpstrTitle = dialog.title.c_str();
    name.Flags = dialog.saves ? saving : opening;
    name.lpstrDefExt = dialog.saves && !dialog.extension.empty() ? dialog.extension.c_str() : nullptr;
    const BOOL chosen = dialog.saves ? GetSaveFileNameW(&name) : GetOpenFileNameW(&name);
    return chosen != FALSE ? path.substr(0, path.find(WCHAR{})).substr(0, MAX_PATH) : WideString();
}

void deliverFile(const WideString& path, const PlatformResultHandler& handler, std::uint64_t cookie) {
    if (!path.empty() && handler) {
        handler->onResult(cookie, chosenPath("hasFilePath", path));
    }
}

struct FolderChoice {
    WideString path;
    bool cancelled = false;
};

// Null if the directory doesn't exist.
Com<IShellItem> itemOf(const fs::path& directory) {
    if (!isDirectory(directory)) {
        return nullptr;
    }
    return makeCom<IShellItem>([&](IShellItem** made) {
        return SHCreateItemFromParsingName(base::widePath(directory).c_str(), nullptr, IID_IShellItem,
                                           reinterpret_cast<void**>(made));
    });
}

// Empty on failure.
WideString resultOf(IFileOpenDialog& dialog) {
    constexpr std::size_t longest = 259;
    const auto item = makeCom<IShellItem>([&](IShellItem** made) { return dialog.GetResult(made); });
    LPWSTR name = nullptr;
    if (!item || FAILED(item->GetDisplayName(SIGDN_DESKTOPABSOLUTEPARSING, &name))) {
        return {};
    }
    const std::unique_ptr<WCHAR, decltype(&CoTaskMemFree)> release(name, CoTaskMemFree);
    return WideString(base::WideView(name).substr(0, longest));
}

FolderChoice showFolderDialog(const fs::path& start, const WideString& title, void* owner) {
    constexpr DWORD options =
        FOS_PICKFOLDERS | FOS_FORCEFILESYSTEM | FOS_PATHMUSTEXIST | FOS_NOTESTFILECREATE | FOS_DONTADDTORECENT;
    constexpr auto cancelled = static_cast<HRESULT>(0x800704C7U);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const auto startItem = itemOf(start);
    const auto dialog = createFileDialog();
    if (!dialog || FAILED(dialog->SetOptions(options))) {
        return {};
    }
    if (startItem) {
        dialog->SetDefaultFolder(startItem.get());
    }
    if (!title.empty()) {
        dialog->SetTitle(title.c_str());
    }
    const HRESULT shown = dialog->Show(static_cast<HWND>(owner));
    return {SUCCEEDED(shown) ? resultOf(*dialog) : WideString(), shown == cancelled};
}

void logMusic(const std::string& text) { base::logMessage("Mediasession", text); }

// Each failure is only logged: the dialog is of use without.
void startInMusic(IFileOpenDialog& dialog) {
    const auto manager = createInstance<IKnownFolderManager>(CLSID_KnownFolderManager, IID_IKnownFolderManager);
    if (!manager) {
        base::logMessage("Mediaaccess", "Failed to create folder manager");
        return;
    }
    const auto music =
        makeCom<IKnownFolder>([&](IKnownFolder** made) { return manager->GetFolder(FOLDERID_Music, made); });
    if (!music) {
        logMusic("Failed to get music folder");
        return;
    }
    const auto item = makeCom<IShellItem>(
        [&](IShellItem** made) { return music->GetShellItem(0, IID_IShellItem, reinterpret_cast<void**>(made)); });
    if (!item) {
        logMusic("Failed to get shell item");
    } else if (FAILED(dialog.SetDefaultFolder(item.get()))) {
        logMusic("Failed to set default folder");
    }
}

bool addFolderOption(IFileOpenDialog& dialog) {
    FILEOPENDIALOGOPTIONS options = 0;
    if (FAILED(dialog.GetOptions(&options))) {
        logMusic("Failed to get existing options.");
        return false;
    }
    if (FAILED(dialog.SetOptions(options | FOS_PICKFOLDERS))) {
        logMusic("Failed to set options.");
        return false;
    }
    return true;
}

bool readMusicResult(IFileOpenDialog& dialog, WideString& path) {
    const auto item = makeCom<IShellItem>([&](IShellItem** made) { return dialog.GetResult(made); });
    if (!item) {
        logMusic("Failed to get dialog result.");
        return false;
    }
    LPWSTR name = nullptr;
    if (FAILED(item->GetDisplayName(SIGDN_FILESYSPATH, &name))) {
        logMusic("Failed to get path from dialog result.");
        return false;
    }
    path = name;
    CoTaskMemFree(name);
    return true;
}

}  // namespace

bool PlatformWin32::browseMusicFolder(WideString& path) {
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const auto dialog = createFileDialog();
    if (!dialog) {
        logMusic("Failed to create file open dialog");
        return false;
    }
    if (!addFolderOption(*dialog)) {
        return false;
    }
    startInMusic(*dialog);
    if (const HRESULT shown = dialog->Show(GetForegroundWindow()); FAILED(shown)) {
        logMusic("Failed to show dialog, " + base::hexadecimal(static_cast<std::uint32_t>(shown)));
        return false;
    }
    return readMusicResult(*dialog, path);
}

bool PlatformWin32::browseFile(bool save, const FileDialogRequest& request, const PlatformResultHandler& handler,
                               std::uint64_t cookie) {
    FileDialog dialog;
    dialog.title = base::widen(textOr(request.titleKey, save ? "Save file" : "Select file"));
    dialog.filterName = base::widen(textOr(request.filterNameKey, "File"));
    dialog.extension = request.defaultExtension;
    dialog.folder = request.initialDirectory.empty() ? base::applicationDirectory(base::Documents)
                                                     : base::pathFromWide(request.initialDirectory);
    dialog.saves = save;
    deliverFile(showFileDialog(dialog, mainWindow_), handler, cookie);
    return true;
}

bool PlatformWin32::browseBackupFile(std::uint32_t /*unread*/, const WideString& extension,
                                     const PlatformResultHandler& handler, std::uint64_t cookie) {
    const bool isBackup = extension == W("dbk");
    FileDialog dialog;
    dialog.title = base::widen(textOr("RESTORE_PCD_FILE_BROWSER_BODY", "Select a PC Dockset backup (.dbk) file"));
    dialog.filterName =
        base::widen(isBackup ? textOr("RESTORE_PCD_FILE_BROWSER_FORMAT", "PC Dockset backup (.dbk)") : "File");
    dialog.extension = extension;
    dialog.folder = base::applicationDirectory(base::Documents) / "Tavrin" / "Tavrin PC Dockset" / "Phone backups";
    deliverFile(showFileDialog(dialog, mainWindow_), handler, cookie);
    return true;
}

bool PlatformWin32::browseFolder(const WideString& startDirectory, const PlatformResultHandler& handler,
                                 std::uint64_t cookie, std::uint32_t purpose, const std::string& returnToState) {
    std::string title;
    if (purpose == 0) {
        title = textOr("TRANSFER_IOS_FILE_BROWSER_BODY", "Select an iTunes backup location");
    } else if (purpose == 1) {
        title = textOr("EXPORT_BACKUP_BROWSER_BODY", "Select export folder");
    }
    const FolderChoice choice = showFolderDialog(base::pathFromWide(startDirectory), base::widen(title), mainWindow_);
    data::Value result(data::ValueType::Object);
    if (!choice.path.empty()) {
        result = chosenPath("hasDirPath", choice.path);
    } else {
        result.set("hasDirPath", false);
        if (choice.cancelled) {
            result.set("returnToState", returnToState);
        }
    }
    if (handler) {
        handler->onResult(cookie, std::move(result));
    }
    return true;
}

bool PlatformWin32::checkPermissions(std::uint32_t /*unread*/, std::uint32_t /*alsoUnread*/, const WideString& path,
                                     const PlatformResultHandler& handler, std::uint64_t cookie) {
    if (handler) {
        data::Value permissions(data::ValueType::Object);
        permissions.set("hasPermission", true);
        permissions.set("permissionsMode", "ok");
        data::Value result(data::ValueType::Object);
        result.set("type", "checkPermissions");
        result.set("resultCode", 0);
        result.set("checkPermissions", std::move(permissions));
        handler->onResult(cookie, std::move(result));
    } else if (!path.empty() && GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
        base::logMessage("PERMISSIONS", "Cannot access directory " + base::narrow(path));
    }
    return true;
}

}  // namespace dockset
