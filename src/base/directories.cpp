#include "base/directories.h"

#include <array>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <optional>
#include <vector>

#include "base/log_receiver.h"
#include "base/paths.h"
#include "win32/kernel.h"
#include "win32/shell.h"

namespace base {

namespace fs = boost::filesystem;

namespace {

struct KnownFolder {
    const KNOWNFOLDERID* id;
    std::vector<const char*> below;
};

KnownFolder knownFolder(std::uint32_t kind) {
    constexpr const char* maker = "Tavrin";
    constexpr const char* suite = "Zelmo Dockset";
    switch (kind) {
        case Pictures:
            return {&FOLDERID_Pictures, {}};
        case Music:
            return {&FOLDERID_Music, {}};
        case UserProfile:
            return {&FOLDERID_Profile, {}};
        case Documents:
            return {&FOLDERID_Documents, {}};
        case ApplicationSupport:
            return {&FOLDERID_Documents, {maker, suite}};
        case Backups:
            return {&FOLDERID_Documents, {maker, suite, "Backups"}};
        case Logs:
            return {&FOLDERID_Documents, {maker, suite, "logs"}};
        case LocalAppData:
            return {&FOLDERID_LocalAppData, {}};
        case ITunesBackups:
            return {&FOLDERID_RoamingAppData, {"Apple Computer", "MobileSync", "Backup"}};
        case Desktop:
            return {&FOLDERID_Desktop, {}};
        default:
            return {&FOLDERID_ProgramData, {}};
    }
}

std::optional<fs::path> knownFolderPath(std::uint32_t kind) {
    const KnownFolder folder = knownFolder(kind);
    PWSTR text = nullptr;
    const HRESULT result = SHGetKnownFolderPath(*folder.id, 0, nullptr, &text);
    const std::unique_ptr<WCHAR, decltype(&CoTaskMemFree)> release(text, CoTaskMemFree);
    if (FAILED(result)) {
        return std::nullopt;
    }
    fs::path path = pathFromWide(text);
    for (const char* const name : folder.below) {
        path /= name;
    }
    return path;
}

std::optional<fs::path> programDirectory() {
    constexpr std::size_t longest = 32'768;
    for (WideString path(MAX_PATH, 0); path.size() <= longest; path.resize(2 * path.size())) {
        const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            return std::nullopt;
        }
        if (length < path.size()) {
            path.resize(length);
            return pathFromWide(path).parent_path();
        }
    }
    return std::nullopt;
}

std::optional<fs::path> compose(std::uint32_t kind) {
    if (kind == Temporary) {
        return fs::temp_directory_path() / "zelmodockset";
    }
    if (kind != Resources && kind != Executable && kind != WebUi) {
        return knownFolderPath(kind);
    }
    auto path = programDirectory();
    if (path && kind == Resources) {
        *path /= "resources";
    } else if (path && kind == WebUi) {
        *path /= "webui";
        *path /= "dist";
    }
    return path;
}

}  // namespace

fs::path applicationDirectory(std::uint32_t kind) {
    constexpr std::uint32_t unassigned = 4;
    if (kind > ProgramData || kind == unassigned) {
        return {};
    }
    std::optional<fs::path> path;
    try {
        path = compose(kind);
    } catch (const std::exception&) {
        return {};
    }
    if (!path) {
        return {};
    }
    ensureDirectory(*path);
    return *path;
}

bool ensureDirectory(const fs::path& path) {
    bool isDirectory = false;
    try {
        boost::system::error_code unreadable;
        fs::file_status status = fs::status(path, unreadable);
        if (!fs::exists(status)) {
            fs::create_directories(path);
            status = fs::status(path);
        }
        isDirectory = fs::is_directory(status);
    } catch (const std::exception&) {
        isDirectory = false;
    }
    if (!isDirectory) {
        logMessage("CREATEDIR", "Failed");
    }
    return isDirectory;
}

}  // namespace base
