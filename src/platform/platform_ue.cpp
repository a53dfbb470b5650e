#include "platform/platform_ue.h"

#include <array>
#include <boost/filesystem/operations.hpp>

#include "base/directories.h"
#include "base/handle.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "net/system_proxy.h"
#include "net/usage_event.h"
#include "platform/platform.h"
#include "platform/ue_registry.h"
#include "platform/ue_service.h"
#include "win32/process.h"

namespace dockset {

namespace fs = boost::filesystem;

namespace {

constexpr const char* tag = "PlatformWin32";

void log(const std::string& text) { base::logMessage(tag, text); }

// A started program; its handle goes back to the platform with the object.
class Program {
public:
    Program(Platform& platform, const WideString& path, const char* arguments, std::uint32_t* userCancelled,
            std::string* error)
        : platform_(platform), process_(platform.startProcess(path, arguments, {}, userCancelled, error)) {}
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() { platform_.closeProcess(process_); }

    explicit operator bool() const { return process_ != nullptr; }
    bool wait(std::uint32_t& exitCode) { return platform_.waitForProcess(process_, INFINITE, &exitCode); }

private:
    Platform& platform_;
    void* const process_;
};

bool runsFrom(DWORD process, const WideString& path) {
    const base::Handle opened(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    std::array<WCHAR, 2040> image{};
    auto size = static_cast<DWORD>(image.size());
    return opened && QueryFullProcessImageNameW(opened.get(), 0, image.data(), &size) != FALSE &&
           base::WideView(image.data(), size) == path;
}

// False, and logged, if the user may not.
bool terminate(DWORD process) {
    const base::Handle opened(OpenProcess(PROCESS_TERMINATE, FALSE, process));
    if (!opened) {
        base::logMessage("terminateRunningInstances",
                         "Failed to open UE process with termination access, " + std::to_string(GetLastError()));
        return false;
    }
    TerminateProcess(opened.get(), 0);
    return true;
}

bool canonicalise(const fs::path& path, fs::path& result) {
    boost::system::error_code error;
    result = fs::canonical(path, error);
    if (error) {
        log("Failed to canonicalize path, " + error.message());
    }
    return !error;
}

// What the service did, reported to the log and to whoever counts events.
void reportService(const UEServiceResult& result) {
    constexpr std::uint32_t informationDimension = 6;
    constexpr std::uint32_t codeDimension = 7;
    const std::string code = std::to_string(result.code);
    log("installUEFromService " + std::string(result.installed ? "successful with info " : "failed with ") +
        result.information + " and code " + code);
    base::UsageEvent event;
    event.category = "Service";
    event.action = "UEInstall";
    event.label = result.installed ? "Success" : "Failure";
    event.dimensions[informationDimension] = result.information;
    event.dimensions[codeDimension] = result.installed ? code : "";
    base::reportUsageEvent(event);
}

void installAndStartService(const fs::path& installerPath, const fs::path& servicePath) {
    constexpr DWORD pause = 300;
    const UEServiceResult result = installByService(base::widePath(installerPath), base::widePath(servicePath));
    reportService(result);
    if (!result.installed) {
        return;
    }
    for (int i = 0; i < 4; ++i) {
        Sleep(pause);
    }
    if (result.code == 0) {
        log("installUEOptService driver install success !");
    }
}

}  // namespace

WideString PlatformUEWin32::getUEInstallPath() {
    const UEKey key{{W("Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Update Engine.exe"),
                     W("Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\Tavrin Mobile Update Engine.exe")},
                    nullptr,
                    KEY_QUERY_VALUE | KEY_WOW64_32KEY,
                    "UE install path"};
    return readUEValue(key).path;
}

WideString PlatformUEWin32::getUEUninstallString(std::string& status) {
    const UEKey key{{W("Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Update Engine")},
                    W("UninstallString"),
                    KEY_QUERY_VALUE,
                    "UE uninstall string"};
    UEValue value = readUEValue(key);
    status = value.status;
    return value.path;
}

fs::path PlatformUEWin32::avoidProgramFiles(const fs::path& path) {
    constexpr std::string_view forms[] = {":/program files", ":/PROGRAM FILES", ":\\program files"};
    const auto& text = path.native();
    if (text.size() <= forms[0].size()) {
        return path;
    }
    for (std::size_t i = 0; i < forms[0].size(); ++i) {
        const auto c = text[i + 1];
        if (c != forms[0][i] && c != forms[1][i] && c != forms[2][i]) {
            return path;
        }
    }
    return base::applicationDirectory(base::Temporary);
}

std::vector<base::ProxyEntry> PlatformUEWin32::getUEProxySettings(const std::string& url, std::string* diagnostics) {
    return base::getUEProxySettings(url, diagnostics);
}

std::int32_t PlatformUEWin32::terminateRunningInstances() {
    constexpr DWORD pause = 50;
    constexpr const char* ownTag = "terminateRunningInstances";
    const WideString registered = getUEInstallPath();
    // Processes are known by the files that they run, not by links to them.
    boost::system::error_code error;
    const fs::path file = fs::canonical(base::pathFromWide(registered), error);
    const WideString path = error ? registered : base::widePath(file);
    std::array<DWORD, 8192 / sizeof(DWORD)> processes{};
    DWORD used = 0;
    if (K32EnumProcesses(processes.data(), sizeof processes, &used) == FALSE) {
        base::logMessage(ownTag, "EnumProcesses failed with " + std::to_string(GetLastError()));
        return 0;
    }
    std::int32_t result = 0;
    for (std::size_t i = 0; i < used / sizeof(DWORD); ++i) {
        if (!runsFrom(processes[i], path)) {
            continue;
        }
        if (result == 0) {
            base::logMessage(ownTag, "Found running UE instance, will attempt termination");
            result = 1;
        }
        if (terminate(processes[i])) {
            Sleep(pause);
            return 2;
        }
    }
    return result;
}

bool PlatformUEWin32::runUEUninstaller(const WideString& uninstallerPath, std::string& status) {
    constexpr DWORD pause = 500;
    terminateRunningInstances();
    Sleep(pause);
    std::uint32_t userCancelled = 0;
    std::string error;
    Program uninstaller(owner_, uninstallerPath, "/S /K", &userCancelled, &error);
    if (!uninstaller) {
        status += userCancelled == 1 ? " CANCELUAC" : error;
        log("ERROR UE uninstaller failed to start");
        return false;
    }
    std::uint32_t exitCode = 0;
    if (!uninstaller.wait(exitCode)) {
        status += " WAITEXIT";
        log("ERROR UE uninstaller wait for exit failed");
        return false;
    }
    if (exitCode != 0) {
        status += " EXIT" + std::to_string(exitCode);
        log("ERROR UE uninstaller exited with " + std::to_string(exitCode));
        return false;
    }
    log("UE uninstallation successful");
    return true;
}

bool PlatformUEWin32::uninstallUE(std::string& status) {
    status.clear();
    const WideString uninstaller = getUEUninstallString(status);
    if (uninstaller.empty()) {
        return true;
    }
    if (!runUEUninstaller(uninstaller, status)) {
        return false;
    }
    status.clear();
    return true;
}

bool PlatformUEWin32::reinstallUE(const fs::path& installerPath, const fs::path& servicePath,
                                  std::uint32_t* userCancelled, std::string* error, bool reportStats) {
    std::string status;
    if (!uninstallUE(status)) {
        log("UE uninstall failure");
    }
    if (reportStats) {
        base::UsageEvent event;
        event.category = "UEStats";
        event.action = "Uninstall1601";
        event.label = status.empty() ? "Success" : status;
        base::reportUsageEvent(event);
    }
    std::string unread;
    return install(installerPath, servicePath, userCancelled, error == nullptr ? unread : *error);
}

bool PlatformUEWin32::install(const fs::path& installerPath, const fs::path& servicePath, std::uint32_t* userCancelled,
                              std::string& error) {
    fs::path installer;
    fs::path service;
    if (canonicalise(installerPath, installer) && canonicalise(servicePath, service)) {
        installAndStartService(installer, service);
    }
    const bool installed = runInstaller(installerPath, userCancelled, error);
    if (!installed) {
        log("installUEOptService UE install from dockset failed, aborting");
    }
    return installed;
}

bool PlatformUEWin32::runInstaller(const fs::path& installerPath, std::uint32_t* userCancelled, std::string& error) {
    error.clear();
    Program installer(owner_, base::widePath(installerPath), "/S /F", userCancelled, &error);
    if (!installer) {
        log("ERROR UE installer failed to start");
        return false;
    }
    std::uint32_t exitCode = 0;
    if (!installer.wait(exitCode)) {
        log("ERROR UE installer wait for exit failed");
        error = "WaitExit FAIL";
        return false;
    }
    if (exitCode != 0) {
        log("ERROR UE installer exited with " + std::to_string(exitCode));
        error = "WaitExit " + std::to_string(exitCode);
        return false;
    }
    log("UE installation successful");
    return true;
}

}  // namespace dockset
