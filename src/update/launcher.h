// Starting the suite's other programs, and the records of updates.
#pragma once

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <vector>

#include "update/version.h"

namespace base {

// A version, and whether one was there: without one it is 0.0.0.0.
struct ForcedVersion {
    Version version;
    bool valid = false;
};

// What the installer that lies on the disk would install. Without one both versions are 0.0.0.0.
struct DownloadedVersion {
    Version eulaVersion;
    Version version;
    bool valid = false;
};

// No operation throws; each reports by its result and logs the cause under the tag "autoupdate". Any thread.
class Launcher {
public:
    Launcher() = default;
    Launcher(const Launcher&) = delete;
    Launcher& operator=(const Launcher&) = delete;
    virtual ~Launcher() = default;

    // Puts the installer on the disk, replacing an earlier one, and makes the directory for it.
    virtual bool writeInstaller(const std::vector<std::uint8_t>& installer) = 0;

    // Starts the installer that is on the disk, without waiting for it; `quiet` without its own pages.
    virtual bool startInstaller(bool quiet) = 0;

    // Starts the suite's main application, without waiting for it.
    virtual bool startMainApplication() = 0;

    // The version below which the user isn't asked, kept in the registry.
    virtual bool setForcedVersion(const Version& version) = 0;
    virtual ForcedVersion getForcedVersion() = 0;

    // The record that tells which version the installer on the disk is. Saving needs the directory that
    // writeInstaller makes. Deleting gives true only if there was a record.
    virtual bool saveDownloadedVersion(const Version& version, const Version& eulaVersion) = 0;
    virtual DownloadedVersion getDownloadedVersion() = 0;
    virtual bool deleteDownloadedVersion() = 0;

    // Has a writeInstaller that runs, and every later one, fail soon: it writes in pieces, since a stop would have to
    // wait for hundreds of megabytes on a slow disk otherwise.
    virtual void cancelWriting() = 0;
};

// Where writeInstaller puts it and startInstaller finds it.
boost::filesystem::path installerPath();

// Everything lives in files and in the registry.
class LauncherWin : public Launcher {
public:
    bool writeInstaller(const std::vector<std::uint8_t>& installer) override;
    bool startInstaller(bool quiet) override;
    bool startMainApplication() override;
    bool setForcedVersion(const Version& version) override;
    ForcedVersion getForcedVersion() override;
    bool saveDownloadedVersion(const Version& version, const Version& eulaVersion) override;
    DownloadedVersion getDownloadedVersion() override;
    bool deleteDownloadedVersion() override;
    void cancelWriting() override { writingCancelled_ = true; }

private:
    std::atomic<bool> writingCancelled_{false};
};

}  // namespace base
