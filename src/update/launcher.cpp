#include "update/launcher.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <optional>
#include <string>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "data/data_file.h"
#include "data/json_value.h"
#include "data/whole_file.h"
#include "update/registry_version.h"
#include "win32/shell.h"

namespace base {

namespace fs = boost::filesystem;

namespace {

constexpr const char* forcedValue = "forced";
constexpr std::size_t writtenAtOnce = 0x400000;

void log(const std::string& text) { logMessage("autoupdate", text); }

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

// An empty file where nothing else is left: what was written through a link would go to a file of somebody else's.
std::shared_ptr<data::DataFile> newFile(const fs::path& path) {
    boost::system::error_code ignored;
    fs::remove(path, ignored);
    return data::DataFile::NewEmptyFile(widePath(path));
}

}  // namespace

fs::path installerPath() { return updateDirectory() / "zdsetup.exe"; }

bool LauncherWin::writeInstaller(const std::vector<std::uint8_t>& installer) {
    const fs::path directory = updateDirectory();
    boost::system::error_code error;
    fs::create_directories(directory, error);
    if (error) {
        log("Failed to create installer temp directory, " + error.message());
        return false;
    }
    const auto file = newFile(installerPath());
    if (!file->isOpen()) {
        log("Failed to open installer temp file");
        return false;
    }
    for (std::size_t done = 0; done < installer.size() && !writingCancelled_; done += writtenAtOnce) {
        file->append(installer.data() + done, std::min(installer.size() - done, writtenAtOnce));
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
    return openInShell(installerPath(), quiet ? W("/passive ZdAutoUpdate=1") : W(""));
}

bool LauncherWin::startMainApplication() {
    log("Launching Zelmo Dockset");
    return openInShell(applicationDirectory(Executable) / "ZelmoDockset.exe", W(""));
}

bool LauncherWin::setForcedVersion(const Version& version) { return storeVersion(forcedValue, version); }

ForcedVersion LauncherWin::getForcedVersion() {
    const auto stored = storedVersion(forcedValue);
    return stored ? ForcedVersion{*stored, true} : ForcedVersion{noVersion(), false};
}

bool LauncherWin::saveDownloadedVersion(const Version& version, const Version& eulaVersion) {
    log("Saving downloaded version");
    const auto path = updateVersionInfoPath();
    if (!path) {
        return false;
    }
    const auto file = newFile(*path);
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
    constexpr std::uint64_t longestRecord = 65'536;
    const auto bytes = file->size() > longestRecord ? std::vector<std::uint8_t>() : data::readWholeFile(*file);
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
