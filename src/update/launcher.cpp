#include "update/launcher.h"

#include <array>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>

#include "base/log_receiver.h"
#include "base/paths.h"
#include "platform/directories.h"
#include "settings/data_file.h"
#include "settings/json_value.h"
#include "settings/whole_file.h"
#include "win32/registry.h"
#include "win32/shell.h"

namespace base {

namespace fs = boost::filesystem;

namespace {

constexpr const WCHAR* registryPath = W("Software\\Tavrin\\ZelmoDockset");
constexpr const WCHAR* forcedValue = W("forced");

void log(const std::string& text) { logMessage("autoupdate", text); }

struct CloseKey {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using RegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseKey>;

Version noVersion() { return {0, 0, 0, 0}; }

fs::path updateDirectory() { return applicationDirectory(ApplicationSupport) / "autoupdate"; }

bool openInShell(const fs::path& path, const WideString& arguments) {
    const WideString file = widePath(path);
    const WideString directory = widePath(path.parent_path());
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = SEE_MASK_FLAG_NO_UI;
    info.lpVerb = W("open");
    info.lpFile = file.c_str();
    info.lpParameters = arguments.c_str();
    info.lpDirectory = directory.c_str();
    info.nShow = SW_SHOW;
    if (ShellExecuteExW(&info) == FALSE) {
        log("Failed to launch Zelmo Dockset");
        return false;
    }
    return true;
}

// The path of the record of the downloaded version; none if the directory that it lies in isn't there.
std::optional<fs::path> updateVersionInfoPath() {
    const fs::path directory = updateDirectory();
    boost::system::error_code error;
    const fs::file_status status = fs::status(directory, error);
    if (error && status.type() != fs::file_not_found) {
        log("Failed to check path status, " + error.message());
    } else if (fs::is_directory(status)) {
        return directory / "updateversion.json";
    } else {
        log("Application support directory missing.");
    }
    log("Failed to get version info path.");
    return std::nullopt;
}

LSTATUS writeForcedVersion(HKEY key, const Version& version) {
    const WideString text = widen(versionToText(version));
    return RegSetValueExW(key, forcedValue, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() * 2 + 2));
}

void logStatus(const char* text, LSTATUS status) {
    std::ostringstream line;
    line << text << status;
    log(line.str());
}

}  // namespace

bool LauncherWin::writeInstaller(const std::vector<std::uint8_t>& installer) {
    const fs::path directory = updateDirectory();
    boost::system::error_code error;
    fs::create_directories(directory, error);
    if (error) {
        log("Failed to create installer temp directory, " + error.message());
        return false;
    }
    const auto file = data::DataFile::NewEmptyFile(widePath(directory / "zdsetup.exe"));
    if (!file->isOpen()) {
        log("Failed to open installer temp file");
        return false;
    }
    if (!installer.empty()) {
        file->append(installer.data(), installer.size());
    }
    if (file->size() != installer.size()) {
        log("Failed to write installer temp file");
        return false;
    }
    // By hand, since an empty file goes with the object that holds it open.
    file->close();
    return true;
}

bool LauncherWin::startInstaller(bool quiet) {
    log("Starting installer.");
    return openInShell(updateDirectory() / "zdsetup.exe", quiet ? W("/passive ZdAutoUpdate=1") : W(""));
}

bool LauncherWin::startMainApplication() {
    log("Launching Zelmo Dockset");
    return openInShell(applicationDirectory(Executable) / "ZelmoDockset.exe", W(""));
}

bool LauncherWin::setForcedVersion(const Version& version) {
    HKEY opened = nullptr;
    DWORD disposition = 0;
    const LSTATUS created =
        RegCreateKeyExW(HKEY_CURRENT_USER, registryPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &opened, &disposition);
    if (created != ERROR_SUCCESS) {
        logStatus("Failed to open registry key, ", created);
        return false;
    }
    const RegistryKey key(opened);
    if (disposition != REG_CREATED_NEW_KEY && disposition != REG_OPENED_EXISTING_KEY) {
        log("Failed to open registry key, Software\\Tavrin\\ZelmoDockset");
        return false;
    }
    if (const LSTATUS written = writeForcedVersion(key.get(), version); written != ERROR_SUCCESS) {
        logStatus("Failed to set registry value, forced, ", written);
        return false;
    }
    return true;
}

ForcedVersion LauncherWin::getForcedVersion() {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, registryPath, 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return {noVersion(), false};
    }
    const RegistryKey key(opened);
    std::array<WCHAR, 128> buffer{};
    DWORD size = buffer.size() * sizeof(WCHAR);
    if (RegQueryValueExW(key.get(), forcedValue, nullptr, nullptr, reinterpret_cast<LPBYTE>(buffer.data()), &size) !=
        ERROR_SUCCESS) {
        return {noVersion(), false};
    }
    const WideView text(buffer.data(), size / sizeof(WCHAR));
    return {parseVersion(narrow(text.substr(0, text.find(WCHAR{0})))), true};
}

bool LauncherWin::saveDownloadedVersion(const Version& version, const Version& eulaVersion) {
    log("Saving downloaded version");
    const auto path = updateVersionInfoPath();
    if (!path) {
        return false;
    }
    const auto file = data::DataFile::NewEmptyFile(widePath(*path));
    if (!file->isOpen()) {
        log("Failed to open version info file");
        return false;
    }
    data::Value record(data::ValueType::Object);
    record.set("version", versionToText(version));
    record.set("eulaVersion", versionToText(eulaVersion));
    data::writeJson(record, file);
    return true;
}

DownloadedVersion LauncherWin::getDownloadedVersion() {
    log("Getting downloaded version");
    DownloadedVersion none{noVersion(), noVersion(), false};
    const auto path = updateVersionInfoPath();
    if (!path) {
        return none;
    }
    const auto file = data::DataFile::OpenReadOnlyFile(widePath(*path));
    if (!file->isOpen()) {
        log("Failed to open version info file.");
        return none;
    }
    const auto bytes = data::readWholeFile(*file);
    const data::Value record = data::parseJson(bytes.data(), bytes.size());
    if (!record.hasString("version") || !record.hasString("eulaVersion")) {
        log("Failed to read json");
        return none;
    }
    return {parseVersion(record.find("eulaVersion").text), parseVersion(record.find("version").text), true};
}

bool LauncherWin::deleteDownloadedVersion() {
    const auto path = updateVersionInfoPath();
    if (!path) {
        return false;
    }
    boost::system::error_code error;
    const bool removed = fs::remove(*path, error);
    if (error) {
        log("Failed to delete version info.");
        return false;
    }
    return removed;
}

}  // namespace base
