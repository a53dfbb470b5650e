// The suite's update: the check of the server's manifest, the fetching of the installer, and its start.
#pragma once

#include <boost/filesystem/path.hpp>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include "base/handle.h"
#include "settings/app_settings.h"
#include "update/downloader.h"
#include "update/launcher.h"
#include "update/manifest.h"
#include "update/version.h"
#include "update/work_queue.h"

namespace base {

// How a job reports: one final call, and its result isn't looked at.
using UpdateCallback = ProgressCallback;

inline constexpr const char* suiteVersion = "2.18.6.0";
inline constexpr const char* builtInEulaVersion = "2.0.0.0";

// The addresses of the manifests by the name that the configuration gives; the empty name is everybody's.
std::map<std::string, std::string> updateServers();

// What an UpdateHandler works with.
struct UpdateDependencies {
    std::shared_ptr<Downloader> downloader;  // for the manifest
    std::shared_ptr<Downloader> installerDownloader;
    std::shared_ptr<Launcher> launcher;
    std::map<std::string, std::string> serverUrls;
    std::shared_ptr<dockset::AppSettings> settings;
    boost::filesystem::path keyFile = manifestKeyFile();
};

enum class UpdateOffer {
    None,
    Available,   // newer than the running version, and to be fetched
    Downloaded,  // newer, and its installer lies on the disk, verified
};

// Enqueue from any thread. All the rest happens on the worker's thread: call the operations behind `enqueue` from jobs
// only, or before the first job is enqueued.
//
// What the server says is used only as far as its signature reaches, and never to go back: a manifest that names a
// lower version than one that was verified before, in this run or in an earlier one, changes nothing.
class UpdateHandler {
public:
    explicit UpdateHandler(UpdateDependencies dependencies);
    UpdateHandler(const UpdateHandler&) = delete;
    UpdateHandler& operator=(const UpdateHandler&) = delete;
    // Ends a job that runs; one that waits for a host's name lasts until the name is known.
    ~UpdateHandler();

    void enqueue(WorkQueue::Job job);

    // Gets the manifest from the configured server and keeps what it says. Success also if nothing is newer.
    void checkForUpdate(const UpdateCallback& callback);

    // Behind a successful check: what the user is to be offered. Looks at the disk, and removes the record of an
    // installer that isn't newer than the running suite.
    UpdateOffer offer();

    // Has fetches of the handler's own report; without this nobody hears of them.
    void reportFetchesTo(UpdateCallback callback) { fetchCallback_ = std::move(callback); }
    // Unless one waits already.
    void enqueueFetch();
    // Fetches the installer of the last manifest, verifies it and puts it on the disk. A wrong one isn't asked for
    // again in this run.
    void fetchInstaller(const UpdateCallback& callback);

    // Starts the installer that lies on the disk: quietly, unless the last manifest's license is newer than the one
    // that the user has agreed to. It is verified first, by a manifest that was verified in this run and is fetched if
    // there was none; one that doesn't pass isn't started but fetched anew.
    void installUpdate(const UpdateCallback& callback);

private:
    using Installer = std::pair<Version, std::string>;  // and its signature

    void takeManifest(const data::Value& application);
    bool isReplay(const Version& newest);
    static const Version& raised(const char* value, Version& highest, const Version& named);
    void recordForced(const data::Value& application, const Version& current);
    bool diskHolds(const FileHandle& file, const std::string& signature) const;
    bool isKnownInstaller(const FileHandle& file) const;
    ResultCode fetch(const UpdateCallback& callback);
    bool verify(const Installer& wanted, const Bytes& installer);
    bool store(const Bytes& installer);
    void refuseToInstall(const UpdateCallback& callback);

    const UpdateDependencies dependencies_;
    Version newestVersion_;
    Version eulaVersion_;
    std::string installerUrl_;
    std::string installerSignature_;
    bool isOffered_ = false;  // what the fields describe
    bool isReplay_ = false;   // the last manifest, which no field describes
    Version highestSeen_;
    Version highestEulaSeen_;
    std::optional<Installer> verified_;  // the last one that this run has put or found on the disk
    bool onDisk_ = false;                // and it was still there at the last check
    std::set<Installer> rejected_;       // what the server has given wrongly
    bool fetchWaits_ = false;
    UpdateCallback fetchCallback_ = [](std::size_t, std::size_t, ResultCode) { return false; };
    WorkQueue queue_;  // last, so that its jobs find all the rest
};

}  // namespace base
