#include "platform/storage_info.h"

#include <algorithm>
#include <array>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <memory>
#include <random>
#include <string>

#include "base/handle.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "win32/dialog.h"
#include "win32/file.h"
#include "win32/shell.h"
#include "win32/system.h"

namespace dockset {

namespace fs = boost::filesystem;

namespace {

void log(const std::string& text) { base::logMessage("STORAGEINFO", text); }

// Logs the failure of the operation; `about` names its object. Gives the system's error.
DWORD logFailure(const char* operation, const std::string& about = {}) {
    const DWORD error = GetLastError();
    log(operation + (" failed with " + std::to_string(error)) + (about.empty() ? "" : " for " + about));
    return error;
}

void copyPath(char (&field)[256], const std::string& path) {
    const std::size_t length = std::min(path.size(), storagePathLength);
    field[path.copy(field, length)] = 0;
}

// As UTF-8, without a separator at its end.
std::string narrowPath(base::WideView path) {
    if (path.size() > 1 && (path.back() == W('\\') || path.back() == W('/'))) {
        path.remove_suffix(1);
    }
    return base::narrow(path);
}

bool readFreeBytes(const WideString& path, std::uint64_t& bytes) {
    ULARGE_INTEGER available{};
    const bool done = GetDiskFreeSpaceExW(path.c_str(), &available, nullptr, nullptr) != FALSE;
    bytes = available.QuadPart;
    return done;
}

// Makes a file in the directory, which goes at once. On failure `error` is set if the file couldn't be made.
bool canCreateFile(const WideString& directory, DWORD& error) {
    const auto now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    const UINT unique = static_cast<UINT>(now) + std::random_device{}();
    std::array<WCHAR, MAX_PATH> path{};
    WideString name;
    if (GetTempFileNameW(directory.c_str(), W(""), unique, path.data()) != 0) {
        name = path.data();
    } else if (GetLastError() == ERROR_BUFFER_OVERFLOW) {
        // The operation knows short paths only, and the directory may be a long one.
        name = base::widePath(base::pathFromWide(directory) / ("zd" + std::to_string(unique) + ".tmp"));
    }
    if (name.empty()) {
        return false;
    }
    const base::FileHandle file(CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                            CREATE_ALWAYS, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    if (!file) {
        error = logFailure("CreateFile");
    }
    return static_cast<bool>(file);
}

void retryFreeSpace(const WideString& path, std::uint64_t freeBytes, std::size_t i, StorageInfo& info) {
    log("Checking path status failed with exception");
    info.statusFailed[i] = true;
    info.attributesOk[i] = GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (!info.attributesOk[i]) {
        info.attributesError[i] = logFailure("Path attribs");
    }
    DWORD error = ERROR_SUCCESS;
    info.writable[i] = info.writableAfterFailure[i] = canCreateFile(path, error);
    if (info.writable[i]) {
        info.freeBytes[i] = freeBytes;
    } else {
        // Here a name that couldn't be made counts as well.
        info.createError[i] = error != ERROR_SUCCESS ? error : logFailure("CreateFile");
    }
}

void reportDirectory(const fs::path& directory, std::size_t i, StorageInfo& info) {
    const WideString path = base::widePath(directory);
    std::uint64_t freeBytes = 0;
    if (!readFreeBytes(path, freeBytes)) {
        info.freeSpaceError[i] = logFailure("GetDiskFreeSpaceExW");
        info.freeSpaceFailed[i] = true;
        return;
    }
    try {
        if (!fs::is_directory(fs::status(directory))) {
            return;
        }
    } catch (const std::exception&) {
        retryFreeSpace(path, freeBytes, i, info);
        return;
    }
    info.freeBytes[i] = freeBytes;
    DWORD error = ERROR_SUCCESS;
    info.writable[i] = canCreateFile(path, error);
}

using VolumePath = std::array<WCHAR, 4096>;

bool readVolumeFlags(const VolumePath& volume, bool& readOnly) {
    DWORD flags = 0;
    const bool done = GetVolumeInformationW(volume.data(), nullptr, 0, nullptr, nullptr, &flags, nullptr, 0) != FALSE;
    readOnly = (flags & FILE_READ_ONLY_VOLUME) != 0;
    return done;
}

void reportVolume(const fs::path& directory, std::size_t i, StorageInfo& info) {
    VolumePath volume{};
    const WideString path = base::widePath(directory);
    info.volumeFound[i] = GetVolumePathNameW(path.c_str(), volume.data(), static_cast<DWORD>(volume.size())) != FALSE;
    if (info.volumeFound[i]) {
        info.driveType[i] = GetDriveTypeW(volume.data());
    } else {
        info.volumePathError[i] = logFailure("GetVolumePathName");
        info.volumePathFailed[i] = true;
    }
    if (!readVolumeFlags(volume, info.readOnlyVolume[i])) {
        info.volumeInfoError[i] = logFailure("GetVolumeInformation");
        info.volumeInfoFailed[i] = true;
    }
}

void reportExtraVolume(const std::string& path, ExtraVolumeInfo& info) {
    info.present = true;
    copyPath(info.path, path);
    const WideString wide = base::widen(path);
    std::uint64_t ignored = 0;
    if (!readFreeBytes(wide, ignored)) {
        info.freeSpaceError = logFailure("GetDiskFreeSpaceExW", path);
    }
    VolumePath volume{};
    if (GetVolumePathNameW(wide.c_str(), volume.data(), static_cast<DWORD>(volume.size())) == FALSE) {
        info.volumePathError = logFailure("GetVolumePathName", path);
        return;
    }
    info.driveType = GetDriveTypeW(volume.data());
    if (!readVolumeFlags(volume, info.readOnlyVolume)) {
        info.volumeInfoError = logFailure("GetVolumeInformation", path);
    }
}

std::string reportDocuments(StorageInfo& info) {
    PWSTR text = nullptr;
    info.documentsError = SHGetKnownFolderPath(FOLDERID_Documents, 0, nullptr, &text);
    const std::unique_ptr<WCHAR, decltype(&CoTaskMemFree)> release(text, CoTaskMemFree);
    info.documentsNull = text == nullptr;
    info.documentsEmpty = text != nullptr && *text == 0;
    std::string path = text == nullptr ? std::string() : narrowPath(text);
    copyPath(info.documentsPath, path);
    return path;
}

void reportFolderIds(StorageInfo& info) {
    IKnownFolderManager* manager = nullptr;
    info.folderManagerError = CoCreateInstance(CLSID_KnownFolderManager, nullptr, CLSCTX_INPROC_SERVER,
                                               IID_IKnownFolderManager, reinterpret_cast<LPVOID*>(&manager));
    if (FAILED(info.folderManagerError) || manager == nullptr) {
        return;
    }
    KNOWNFOLDERID* ids = nullptr;
    UINT count = 0;
    info.folderIdsError = manager->GetFolderIds(&ids, &count);
    if (SUCCEEDED(info.folderIdsError)) {
        info.folderIdsCount = count;
        info.documentsIdListed =
            std::any_of(ids, ids + count, [](const KNOWNFOLDERID& id) { return id == FOLDERID_Documents; });
    }
    CoTaskMemFree(ids);
    manager->Release();
}

std::string reportTemporary(StorageInfo& info) {
    std::array<WCHAR, 2048> buffer{};
    SetLastError(ERROR_SUCCESS);
    const bool toldNothing = GetTempPathW(static_cast<DWORD>(buffer.size()), buffer.data()) == 0;
    info.tempPathError = toldNothing ? GetLastError() : ERROR_SUCCESS;
    info.tempPathEmpty = info.tempPathError == ERROR_SUCCESS && buffer[0] == 0;
    info.tempPathFound = toldNothing && info.tempPathError == ERROR_SUCCESS && buffer[0] != 0;
    std::string path = narrowPath(buffer.data());
    copyPath(info.tempPath, path);
    return path;
}

void reportMemory(StorageInfo& info) {
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    info.memoryOk = GlobalMemoryStatusEx(&memory) != FALSE;
    if (!info.memoryOk) {
        info.memoryError = GetLastError();
        return;
    }
    info.totalPhysical = memory.ullTotalPhys;
    info.totalVirtual = memory.ullTotalVirtual;
    info.availableVirtual = memory.ullAvailVirtual;
}

// What explains why the system didn't report a directory.
void reportFolders(const fs::path (&directories)[3], StorageInfo& info) {
    const std::string documents = reportDocuments(info);
    reportFolderIds(info);
    const std::string temporary = reportTemporary(info);
    if (!temporary.empty() && temporary != base::narrow(base::widePath(directories[0])) && !info.writable[0]) {
        reportExtraVolume(temporary, info.extraTemp);
    }
    if (!documents.empty() && (!info.writable[1] || directories[1].empty())) {
        reportExtraVolume(documents, info.extraDocuments);
    }
}

}  // namespace

void collectStorageInfo(const fs::path (&directories)[3], StorageInfo& info) {
    info = {};
    for (std::size_t i = 0; i < 3; ++i) {
        reportDirectory(directories[i], i, info);
    }
    for (std::size_t i = 0; i < 3; ++i) {
        if (!info.writable[i]) {
            reportVolume(directories[i], i, info);
        }
    }
    if (std::any_of(std::begin(directories), std::end(directories),
                    [](const fs::path& path) { return path.empty(); })) {
        reportFolders(directories, info);
    }
    reportMemory(info);
}

}  // namespace dockset
