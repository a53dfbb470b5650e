// The Update Engine: a program of its own, with a driver, that the suite installs on the user's machine and replaces.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "net/proxy.h"
#include "win32/types.h"

namespace dockset {

class Platform;

// Nothing throws. Operations that start programs block until these have ended, with pauses of up to ten minutes; none
// is for the thread of a user interface. `status` and `error` are texts for reports. Any thread.
class PlatformUE {
public:
    PlatformUE() = default;
    PlatformUE(const PlatformUE&) = delete;
    PlatformUE& operator=(const PlatformUE&) = delete;

    // The engine's program; empty if none is installed.
    virtual WideString getUEInstallPath() = 0;
    // The path, or the Temporary directory for one that lies below a drive's Program Files.
    virtual boost::filesystem::path avoidProgramFiles(const boost::filesystem::path& path) = 0;
    // Removes an installed engine, has the background service install the driver, and runs the installer, whose success
    // is the result: the first two may fail. `userCancelled` becomes 1 if the user declined. Both pointers may be null.
    // `reportStats` raises a usage event of the removal.
    virtual bool reinstallUE(const boost::filesystem::path& installerPath, const boost::filesystem::path& servicePath,
                             std::uint32_t* userCancelled, std::string* error, bool reportStats) = 0;
    // "localhost", "127.0.0.1" and, unless `loopbackOnly`, the machine's other IPv4 addresses.
    virtual std::vector<std::string> getLocalAddresses(bool loopbackOnly) = 0;
    // A TCP port that is free at that moment; 0 on failure.
    virtual std::uint16_t getFreePort() = 0;
    virtual std::vector<base::ProxyEntry> getUEProxySettings(const std::string& url, std::string* diagnostics) = 0;
    // Ends one running instance of the engine: 2 if that was done, 1 if one was found, else 0.
    virtual std::int32_t terminateRunningInstances() = 0;
    // The engine's uninstaller, empty if there is none. `status`: "NOPATH", "HKCU" or "HKLM", the latter two with
    // " QUERYFAIL" or " EMPTY" behind them.
    virtual WideString getUEUninstallString(std::string& status) = 0;
    // True if it ended with 0; else what went wrong is put behind `status`.
    virtual bool runUEUninstaller(const WideString& uninstallerPath, std::string& status) = 0;
    // True, too, if there is nothing to remove. `status` is empty after a removal.
    virtual bool uninstallUE(std::string& status) = 0;

    virtual ~PlatformUE() = default;
};

class PlatformUEWin32 : public PlatformUE {
public:
    // Programs are started by the owner, which outlives this object.
    explicit PlatformUEWin32(Platform& owner) : owner_(owner) {}

    WideString getUEInstallPath() override;
    boost::filesystem::path avoidProgramFiles(const boost::filesystem::path& path) override;
    bool reinstallUE(const boost::filesystem::path& installerPath, const boost::filesystem::path& servicePath,
                     std::uint32_t* userCancelled, std::string* error, bool reportStats) override;
    std::vector<std::string> getLocalAddresses(bool loopbackOnly) override;
    std::uint16_t getFreePort() override;
    std::vector<base::ProxyEntry> getUEProxySettings(const std::string& url, std::string* diagnostics) override;
    std::int32_t terminateRunningInstances() override;
    WideString getUEUninstallString(std::string& status) override;
    bool runUEUninstaller(const WideString& uninstallerPath, std::string& status) override;
    bool uninstallUE(std::string& status) override;

private:
    bool install(const boost::filesystem::path& installerPath, const boost::filesystem::path& servicePath,
                 std::uint32_t* userCancelled, std::string& error);
    bool runInstaller(const boost::filesystem::path& installerPath, std::uint32_t* userCancelled, std::string& error);

    Platform& owner_;
};

}  // namespace dockset
