#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>

#include "linux/shell/shell_objects.h"
#include "linux/support/directories.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "linux/support/whole_file.h"
#include "win32/shell.h"

namespace {

using win32::baseDirectory;
using win32::homeDirectory;

// The value of a line NAME="VALUE" in user-dirs.dirs, with the shell's $HOME and backslashes resolved; only absolute
// results count (xdg-user-dirs).
std::optional<std::string> userDirectory(const std::string& file, const std::string& name) {
    std::istringstream lines(file);
    std::string line;
    std::optional<std::string> found;
    while (std::getline(lines, line)) {
        line.erase(0, line.find_first_not_of(" \t"));
        const std::string start = name + "=\"";
        if (line.compare(0, start.size(), start) != 0) {
            continue;
        }
        std::string value;
        for (std::size_t i = start.size(); i < line.size() && line[i] != '"'; ++i) {
            i += line[i] == '\\' && i + 1 < line.size() ? 1 : 0;
            value += line[i];
        }
        if (value.rfind("$HOME", 0) == 0) {
            value = homeDirectory() + value.substr(std::strlen("$HOME"));
        }
        if (!value.empty() && value.front() == '/') {
            found = value;
        }
    }
    return found;
}

std::string userDirectory(const char* name, const char* fallback) {
    const auto file = win32::readWholeFile(baseDirectory("XDG_CONFIG_HOME", ".config") + "/user-dirs.dirs");
    const auto configured = file ? userDirectory(*file, name) : std::nullopt;
    return configured.value_or(homeDirectory() + "/" + fallback);
}

struct UserFolder {
    const KNOWNFOLDERID& id;
    const char* name;
    const char* fallback;
};

constexpr std::array userFolders = {
    UserFolder{FOLDERID_Desktop, "XDG_DESKTOP_DIR", "Desktop"},
    UserFolder{FOLDERID_Documents, "XDG_DOCUMENTS_DIR", "Documents"},
    UserFolder{FOLDERID_Music, "XDG_MUSIC_DIR", "Music"},
    UserFolder{FOLDERID_Pictures, "XDG_PICTURES_DIR", "Pictures"},
};

std::string folderPath(REFKNOWNFOLDERID folder) {
    const auto* const user =
        std::find_if(userFolders.begin(), userFolders.end(), [&](const UserFolder& f) { return f.id == folder; });
    if (user != userFolders.end()) {
        return userDirectory(user->name, user->fallback);
    }
    if (folder == FOLDERID_Profile) {
        return homeDirectory();
    }
    if (folder == FOLDERID_LocalAppData) {
        return baseDirectory("XDG_DATA_HOME", ".local/share");
    }
    if (folder == FOLDERID_RoamingAppData) {
        return baseDirectory("XDG_CONFIG_HOME", ".config");
    }
    return folder == FOLDERID_ProgramData ? "/var/lib" : "";
}

}  // namespace

std::vector<KNOWNFOLDERID> win32::knownFolderIds() {
    return {FOLDERID_Desktop,  FOLDERID_Documents, FOLDERID_LocalAppData, FOLDERID_Music,
            FOLDERID_Pictures, FOLDERID_Profile,   FOLDERID_ProgramData,  FOLDERID_RoamingAppData};
}

HRESULT WINAPI SHGetKnownFolderPath(REFKNOWNFOLDERID folder, DWORD /*flags*/, HANDLE /*token*/, PWSTR* path) {
    if (path == nullptr) {
        return E_INVALIDARG;
    }
    *path = nullptr;
    WIN32_MAY_RETURN("SHGetKnownFolderPath", HRESULT);
    const WideString wide = win32::toWideName(folderPath(folder));
    if (wide.empty()) {
        return win32::resultOf(ERROR_FILE_NOT_FOUND);
    }
    const std::size_t bytes = (wide.size() + 1) * sizeof(WCHAR);
    *path = static_cast<PWSTR>(CoTaskMemAlloc(bytes));
    if (*path == nullptr) {
        return E_OUTOFMEMORY;
    }
    std::memcpy(*path, wide.c_str(), bytes);
    return S_OK;
}
