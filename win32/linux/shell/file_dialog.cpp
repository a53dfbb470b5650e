#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "linux/desktop/file_chooser.h"
#include "linux/kernel/com_object.h"
#include "linux/shell/shell_objects.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/dialog.h"

namespace win32 {

namespace {

std::string bytesOf(LPCWSTR text) { return text == nullptr ? std::string() : toBytes(text); }

bool exists(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0;
}

class ShellItem final : public ComObject<IShellItem, IID_IShellItem> {
public:
    explicit ShellItem(std::string path) : path_(std::move(path)) {}

    HRESULT GetDisplayName(SIGDN /*kind*/, LPWSTR* name) override {
        if (name == nullptr) {
            return E_INVALIDARG;
        }
        WIN32_MAY_RETURN("IShellItem::GetDisplayName", HRESULT);
        const WideString wide = toWideName(path_);
        const std::size_t bytes = (wide.size() + 1) * sizeof(WCHAR);
        *name = static_cast<LPWSTR>(CoTaskMemAlloc(bytes));
        if (*name == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::memcpy(*name, wide.c_str(), bytes);
        return S_OK;
    }

private:
    const std::string path_;
};

class FileOpenDialog final : public ComObject<IFileOpenDialog, IID_IFileOpenDialog> {
public:
    HRESULT Show(HWND owner) override {
        WIN32_MAY_RETURN("IFileOpenDialog::Show", HRESULT);
        const bool picksFolder = (options_ & FOS_PICKFOLDERS) != 0;
        const auto [outcome, path] = runFileDialog({title_, owner, folder_, false, picksFolder});
        result_ = path;
        if (outcome == FileDialogResult::Outcome::cancelled) {
            return resultOf(ERROR_CANCELLED);
        }
        return outcome == FileDialogResult::Outcome::chosen ? S_OK : resultOf(ERROR_NOT_SUPPORTED);
    }

    HRESULT SetOptions(FILEOPENDIALOGOPTIONS options) override {
        WIN32_RECORD("IFileOpenDialog::SetOptions", std::to_string(options));
        WIN32_MAY_RETURN("IFileOpenDialog::SetOptions", HRESULT);
        options_ = options;
        return S_OK;
    }

    HRESULT GetOptions(FILEOPENDIALOGOPTIONS* options) override {
        WIN32_MAY_RETURN("IFileOpenDialog::GetOptions", HRESULT);
        if (options == nullptr) {
            return E_INVALIDARG;
        }
        *options = options_;
        return S_OK;
    }

    HRESULT SetDefaultFolder(IShellItem* folder) override {
        WIN32_MAY_RETURN("IFileOpenDialog::SetDefaultFolder", HRESULT);
        if (folder == nullptr) {
            return E_INVALIDARG;
        }
        LPWSTR path = nullptr;
        const HRESULT status = folder->GetDisplayName(SIGDN_FILESYSPATH, &path);
        if (SUCCEEDED(status)) {
            folder_ = toNativePath(path);
        }
        CoTaskMemFree(path);
        return status;
    }

    HRESULT SetTitle(LPCWSTR title) override {
        title_ = bytesOf(title);
        return S_OK;
    }

    HRESULT GetResult(IShellItem** item) override {
        if (item == nullptr) {
            return E_INVALIDARG;
        }
        *item = nullptr;
        WIN32_MAY_RETURN("IFileOpenDialog::GetResult", HRESULT);
        *item = result_.empty() ? nullptr : new ShellItem(result_);
        return *item == nullptr ? E_FAIL : S_OK;
    }

private:
    FILEOPENDIALOGOPTIONS options_ = FOS_PATHMUSTEXIST | FOS_FILEMUSTEXIST;
    std::string title_;
    std::string folder_;
    std::string result_;
};

class KnownFolder final : public ComObject<IKnownFolder, IID_IKnownFolder> {
public:
    explicit KnownFolder(std::string path) : path_(std::move(path)) {}

    HRESULT GetShellItem(DWORD /*flags*/, REFIID interfaceId, void** item) override {
        WIN32_MAY_RETURN("IKnownFolder::GetShellItem", HRESULT);
        return handOut(new ShellItem(path_), interfaceId, item);
    }

private:
    const std::string path_;
};

class KnownFolderManager final : public ComObject<IKnownFolderManager, IID_IKnownFolderManager> {
public:
    HRESULT GetFolderIds(KNOWNFOLDERID** ids, UINT* count) override {
        if (ids == nullptr || count == nullptr) {
            return E_INVALIDARG;
        }
        *ids = nullptr;
        *count = 0;
        WIN32_MAY_RETURN("IKnownFolderManager::GetFolderIds", HRESULT);
        const auto known = knownFolderIds();
        *ids = static_cast<KNOWNFOLDERID*>(CoTaskMemAlloc(known.size() * sizeof(KNOWNFOLDERID)));
        if (*ids == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::copy(known.begin(), known.end(), *ids);
        *count = static_cast<UINT>(known.size());
        return S_OK;
    }

    HRESULT GetFolder(REFKNOWNFOLDERID id, IKnownFolder** folder) override {
        if (folder == nullptr) {
            return E_INVALIDARG;
        }
        *folder = nullptr;
        WIN32_MAY_RETURN("IKnownFolderManager::GetFolder", HRESULT);
        PWSTR path = nullptr;
        const HRESULT status = SHGetKnownFolderPath(id, 0, nullptr, &path);
        *folder = FAILED(status) ? nullptr : new KnownFolder(toBytes(path));
        CoTaskMemFree(path);
        return status;
    }
};

// "NAME\0PATTERN\0\0": the first pair of it.
void readFilter(LPCWSTR filter, FileDialogRequest& question) {
    if (filter != nullptr && *filter != 0) {
        question.filterName = toBytes(filter);
        question.pattern = toBytes(filter + std::u16string_view(filter).size() + 1);
    }
}

std::string withExtension(const std::string& path, const std::string& extension) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::string longer = path + "." + extension;
    return extension.empty() || name.find('.') != std::string::npos || exists(longer) ? path : longer;
}

BOOL giveChosen(const WideString& chosen, OPENFILENAMEW& dialog) {
    const auto needed = static_cast<DWORD>(chosen.size()) + 1;
    if (dialog.lpstrFile == nullptr || dialog.nMaxFile < needed) {
        if (dialog.lpstrFile != nullptr && dialog.nMaxFile > 0) {
            dialog.lpstrFile[0] = static_cast<WCHAR>(needed);
        }
        return FALSE;
    }
    dialog.lpstrFile[chosen.copy(dialog.lpstrFile, chosen.size())] = 0;
    const std::size_t name = chosen.rfind(u'/') + 1;
    const std::size_t dot = chosen.find(u'.', name) == WideString::npos ? chosen.size() - 1 : chosen.rfind(u'.');
    dialog.nFileOffset = static_cast<WORD>(name);
    dialog.nFileExtension = static_cast<WORD>(chosen.ends_with(u'.') ? 0 : dot + 1);
    if (dialog.lpstrFileTitle != nullptr && dialog.nMaxFileTitle >= needed - name) {
        dialog.lpstrFileTitle[chosen.copy(dialog.lpstrFileTitle, chosen.size() - name, name)] = 0;
    }
    return TRUE;
}

BOOL runDialog(OPENFILENAMEW& dialog, bool saves) {
    FileDialogRequest question{bytesOf(dialog.lpstrTitle), dialog.hwndOwner, {}, saves, false};
    question.folder = dialog.lpstrInitialDir == nullptr ? "" : toNativePath(dialog.lpstrInitialDir);
    readFilter(dialog.lpstrFilter, question);
    const auto [outcome, path] = runFileDialog(question);
    const WideString chosen =
        toWideName(saves && !path.empty() ? withExtension(path, bytesOf(dialog.lpstrDefExt)) : path);
    return outcome == FileDialogResult::Outcome::chosen && giveChosen(chosen, dialog) != FALSE ? TRUE : FALSE;
}

}  // namespace

HRESULT createFileOpenDialog(REFIID interfaceId, void** object) {
    return handOut(new FileOpenDialog, interfaceId, object);
}

HRESULT createKnownFolderManager(REFIID interfaceId, void** object) {
    return handOut(new KnownFolderManager, interfaceId, object);
}

}  // namespace win32

HRESULT WINAPI SHCreateItemFromParsingName(PCWSTR path, IBindCtx* /*context*/, REFIID interfaceId, void** item) {
    if (item == nullptr) {
        return E_INVALIDARG;
    }
    *item = nullptr;
    WIN32_MAY_RETURN("SHCreateItemFromParsingName", HRESULT);
    if (path == nullptr) {
        return E_INVALIDARG;
    }
    std::string native = win32::toNativePath(path);
    if (!native.starts_with('/') || !win32::exists(native)) {
        return win32::resultOf(ERROR_FILE_NOT_FOUND);
    }
    native.erase(std::max<std::size_t>(native.find_last_not_of('/') + 1, 1));
    return win32::handOut(new win32::ShellItem(native), interfaceId, item);
}

BOOL WINAPI GetOpenFileNameW(OPENFILENAMEW* dialog) {
    WIN32_RECORD("GetOpenFileNameW", std::to_string(dialog->Flags));
    WIN32_MAY_FAIL("GetOpenFileNameW", FALSE);
    return win32::runDialog(*dialog, false);
}

BOOL WINAPI GetSaveFileNameW(OPENFILENAMEW* dialog) {
    WIN32_RECORD("GetSaveFileNameW", std::to_string(dialog->Flags));
    WIN32_MAY_FAIL("GetSaveFileNameW", FALSE);
    return win32::runDialog(*dialog, true);
}
