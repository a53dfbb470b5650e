#include "update/update_handler.h"

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <exception>
#include <future>
#include <utility>

#include "base/log_receiver.h"
#include "base/text.h"
#include "base/working_set.h"
#include "net/servers.h"
#include "update/installer_check.h"
#include "update/registry_version.h"

namespace base {

using data::Value;

namespace {

// The highest version that a verified manifest has named, in the registry.
constexpr const char* seenValue = "newestSeen";
// And the highest license.
constexpr const char* seenEulaValue = "newestEulaSeen";
// As much of a version as the registry is sure to give back.
constexpr std::size_t remembered = 8;

void log(const std::string& text) { logMessage("autoupdate", text); }

void report(const UpdateCallback& callback, ResultCode code) { callback(1, code == Success ? 1 : 0, code); }

// Blocks until the final call, on whatever thread that comes.
ResultCode download(Downloader& downloader, const std::string& url, Bytes& bytes, const std::string& what,
                    const UpdateCallback& callback) {
    const auto promise = std::make_shared<std::promise<ResultCode>>();
    std::future<ResultCode> outcome = promise->get_future();
    downloader.download(url, bytes, [promise, what, callback](std::size_t done, std::size_t total, ResultCode code) {
        if (code == InProgress) {
            return callback(done, total, code);
        }
        log(code == Success ? what + " downloaded successfully." : "Failed to download " + toLower(what));
        promise->set_value(code == Success ? Success : DownloadFailed);
        return false;
    });
    return outcome.get();
}

}  // namespace

std::map<std::string, std::string> updateServers() {
    return {{"", productionManifestUrl}, {"sandbox", sandboxManifestUrl}, {"stage", stageManifestUrl}};
}

UpdateHandler::UpdateHandler(UpdateDependencies dependencies) : dependencies_(std::move(dependencies)) {}

UpdateHandler::~UpdateHandler() {
    queue_.requestStop();
    dependencies_.downloader->cancel();
    dependencies_.installerDownloader->cancel();
    dependencies_.launcher->cancelWriting();
}

void UpdateHandler::enqueue(WorkQueue::Job job) {
    queue_.enqueue([job = std::move(job)] {
        try {
            job();
        } catch (const std::exception& error) {
            log(std::string("An update job failed: ") + error.what());
        }
        emptyWorkingSet();
    });
}

void UpdateHandler::checkForUpdate(const UpdateCallback& callback) {
    const std::string server = dependencies_.settings->autoUpdateConfig().find("server").text;
    const auto entry = dependencies_.serverUrls.find(server);
    if (entry == dependencies_.serverUrls.end()) {
        log("Unrecognized server option in configuration file.");
        report(callback, GeneralFailure);
        return;
    }
    log("Getting manifest from server: " + server);
    Bytes manifest;
    if (download(*dependencies_.downloader, entry->second, manifest, "Manifest", callback) != Success) {
        log("Failed to download manifest.");
        report(callback, DownloadFailed);
        return;
    }
    Value application;
    if (verifyManifest(manifest, callback, application, dependencies_.keyFile)) {
        takeManifest(application);
        report(callback, Success);
    }
}

// What only grows in manifests never falls: a replayed one could otherwise hide a newer license or lower the forced
// version.
void UpdateHandler::takeManifest(const Value& application) {
    const Version current = parseVersion(suiteVersion);
    const Version newest = parseVersion(application.find("version").text);
    const bool replay = isReplay(newest);
    if (!replay) {
        eulaVersion_ = raised(seenEulaValue, highestEulaSeen_, parseVersion(application.find("eula-version").text));
        installerUrl_ = application.find("url").text;
        installerSignature_ = application.find("signature").text;
        newestVersion_ = newest;
    }
    const bool isNewer = compareVersions(newest, current) > 0;
    log("Current version is " + versionToText(current));
    log("Newest version is " + versionToText(newest));
    log(isNewer ? "Update available" : "Up to date.");
    isReplay_ = replay;
    isOffered_ = replay ? isOffered_ : isNewer;
    recordForced(application, current);
    if (replay) {
        log("The manifest is older than one seen before, of version " + versionToText(highestSeen_));
    }
}

bool UpdateHandler::isReplay(const Version& newest) {
    return compareVersions(newest, raised(seenValue, highestSeen_, newest)) < 0;
}

// The highest version that any manifest has named, this one included.
const Version& UpdateHandler::raised(const char* value, Version& highest, const Version& named) {
    const auto stored = storedVersion(value);
    if (stored && compareVersions(*stored, highest) > 0) {
        highest = *stored;
    }
    if (compareVersions(named, highest) > 0) {
        highest.assign(named.begin(), named.begin() + static_cast<std::ptrdiff_t>(std::min(named.size(), remembered)));
        storeVersion(value, highest);
    }
    return highest;
}

void UpdateHandler::recordForced(const Value& application, const Version& current) {
    const Value& forced = application.find("forced");
    if (!forced.isString()) {
        return;
    }
    const Version version = parseVersion(forced.text);
    if (compareVersions(current, version) >= 0) {
        return;
    }
    log("Available update is forced");
    if (compareVersions(version, dependencies_.launcher->getForcedVersion().version) > 0) {
        dependencies_.launcher->setForcedVersion(version);
    }
}

UpdateOffer UpdateHandler::offer() {
    boost::system::error_code error;
    const bool wasFetched = boost::filesystem::exists(installerPath().parent_path(), error);
    const DownloadedVersion stored = wasFetched ? dependencies_.launcher->getDownloadedVersion() : DownloadedVersion();
    if (stored.valid && compareVersions(stored.version, parseVersion(suiteVersion)) <= 0) {
        dependencies_.launcher->deleteDownloadedVersion();
    }
    if (!isOffered_ || isReplay_) {
        return UpdateOffer::None;
    }
    onDisk_ = stored.valid && compareVersions(stored.version, newestVersion_) == 0 &&
              diskHolds(holdFile(installerPath()), installerSignature_);
    if (queue_.stopRequested()) {
        return UpdateOffer::None;
    }
    if (onDisk_) {
        verified_ = {newestVersion_, installerSignature_};
    }
    return onDisk_ ? UpdateOffer::Downloaded : UpdateOffer::Available;
}

bool UpdateHandler::diskHolds(const FileHandle& file, const std::string& signature) const {
    const auto key = readManifestKey(dependencies_.keyFile);
    return key && InstallerCheck(signature, *key, queue_.stopRequested()).passes(file);
}

void UpdateHandler::enqueueFetch() {
    if (!std::exchange(fetchWaits_, true)) {
        enqueue([this] {
            fetchWaits_ = false;
            fetchInstaller(fetchCallback_);
        });
    }
}

void UpdateHandler::fetchInstaller(const UpdateCallback& callback) { report(callback, fetch(callback)); }

ResultCode UpdateHandler::fetch(const UpdateCallback& callback) {
    const Installer wanted(newestVersion_, installerSignature_);
    if (onDisk_ && verified_ == wanted) {
        return Success;
    }
    if (!isOffered_ || rejected_.contains(wanted)) {
        return VerificationFailed;
    }
    log("Getting installer of version " + versionToText(newestVersion_));
    Bytes installer;
    if (download(*dependencies_.installerDownloader, installerUrl_, installer, "Installer", callback) != Success) {
        return DownloadFailed;
    }
    if (!verify(wanted, installer)) {
        return VerificationFailed;
    }
    if (!store(installer)) {
        return GeneralFailure;
    }
    verified_ = wanted;
    onDisk_ = true;
    return Success;
}

bool UpdateHandler::verify(const Installer& wanted, const Bytes& installer) {
    const auto key = readManifestKey(dependencies_.keyFile);
    if (!key) {
        return false;
    }
    const bool good = InstallerCheck(wanted.second, *key, queue_.stopRequested()).passes(installer);
    if (!good && !queue_.stopRequested()) {
        log("Failed to verify installer");
        rejected_.insert(wanted);
    }
    return good;
}

// No record may outlive the installer that it describes.
bool UpdateHandler::store(const Bytes& installer) {
    if (dependencies_.launcher->getDownloadedVersion().valid) {
        dependencies_.launcher->deleteDownloadedVersion();
    }
    return dependencies_.launcher->writeInstaller(installer) &&
           dependencies_.launcher->saveDownloadedVersion(newestVersion_, eulaVersion_);
}

void UpdateHandler::installUpdate(const UpdateCallback& callback) {
    if (installerSignature_.empty()) {
        checkForUpdate([](std::size_t, std::size_t, ResultCode) { return false; });
    }
    // Held until it runs, so that what was verified is what is started.
    const FileHandle held = holdFile(installerPath());
    if (!isKnownInstaller(held)) {
        refuseToInstall(callback);
        return;
    }
    const bool quiet = compareVersions(parseVersion(builtInEulaVersion), eulaVersion_) >= 0;
    log(quiet ? "Eula is up to date, starting installer in quiet mode."
              : "The eula has been updated, starting installer with ui.");
    report(callback, dependencies_.launcher->startInstaller(quiet) ? Success : InstallerFailed);
}

// By the signature that the last manifest names, or of the one that was verified before it: another program may have
// fetched the newer one since.
bool UpdateHandler::isKnownInstaller(const FileHandle& file) const {
    const bool isLatest = !installerSignature_.empty() && diskHolds(file, installerSignature_);
    return isLatest || (verified_ && verified_->second != installerSignature_ && diskHolds(file, verified_->second));
}

void UpdateHandler::refuseToInstall(const UpdateCallback& callback) {
    if (!queue_.stopRequested()) {
        log(verified_ ? "The installer has changed since it was verified, and isn't started."
                      : "No verified manifest names the installer on the disk, which isn't started.");
        onDisk_ = false;
        if (isOffered_) {
            enqueueFetch();
        }
    }
    report(callback, InstallerFailed);
}

}  // namespace base
