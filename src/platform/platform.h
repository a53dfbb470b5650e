// The operating system as the code sees it that the suite's programs share.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cache/file_cache.h"
#include "net/http_provider.h"
#include "platform/file_dialog.h"
#include "platform/storage_info.h"
#include "win32/types.h"

namespace dockset {

class PlatformUE;

// Nothing throws, and any thread may call, unless an operation says otherwise. docs/platform.md tells what each
// operation comes to on each system.
class Platform {
public:
    // Of setPlatformData: the main window's handle.
    static constexpr std::uint32_t mainWindowData = 0;

    Platform() = default;
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

    // Before the first use of what is set.
    virtual void setPlatformData(std::uint32_t type, void* data) = 0;

    // Starts a program, with raised rights if it needs them and the user agrees. `arguments` is ASCII, as a command
    // line has it; an empty directory is the caller's own. The process is the caller's, for closeProcess; null is
    // failure, described in `error` and, if it was the user's no, by 1 in `userCancelled`. Both may be null.
    virtual void* startProcess(const WideString& path, const std::string& arguments, const WideString& workingDirectory,
                               std::uint32_t* userCancelled, std::string* error) = 0;
    // True if the process ended in time. `exitCode`, which may be null, is 0xFFFFFFFF where it can't be determined.
    virtual bool waitForProcess(void* process, std::uint32_t timeoutMs, std::uint32_t* exitCode) = 0;
    virtual bool pollProcess(void* process, std::uint32_t* exitCode) = 0;
    // Ends it at once, with exit code 0; 0 on failure. The last two take null, too.
    virtual std::int32_t killProcess(void* process) = 0;
    virtual void closeProcess(void* process) = 0;

    virtual void openUrl(const std::string& url) = 0;
    // Shows a phone in the file manager, by its name or by a path of the shell.
    virtual void browseMyZelmo(const WCHAR* name) = 0;
    virtual void browseMyZelmo(const WideString& path) = 0;
    // Blocks until the user has chosen a folder, which true stands for. The thread must be able to host COM in an
    // apartment of its own, as with all dialogs below.
    virtual bool browseMusicFolder(WideString& path) = 0;

    virtual bool isComputerRunningOnBattery() = 0;
    // While sleep isn't allowed the machine stays awake, as far as the system grants it.
    virtual void setSleepAllowed(bool allowed) = 0;
    virtual bool isSleepAllowed() = 0;

    // The HTTP operations block until the answer is there in memory. `noPinning` allows plain http and any valid chain;
    // `cancelFlag` and `detail` may be null. A status is that of HTTP, or -1 if there was none or the transfer broke.
    // True if `data` holds something to use; see net/cached_get.h.
    virtual bool getUrlCached(const std::string& url, base::Bytes& data, bool* fresh, bool useCache, bool keepStale,
                              bool noPinning, const base::CancelWord* cancelFlag, std::string* detail) = 0;
    // True for a status from 200 to 299.
    virtual bool postUrl(const std::string& url, const base::Bytes& body, base::Bytes& response, bool noPinning,
                         const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpPost(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                                  base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                  const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpPut(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                                 base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                 const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpDelete(const std::string& url, const base::HttpHeaders& headers,
                                    base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                    const base::CancelWord* cancelFlag) = 0;
    virtual std::int32_t httpGet(const std::string& url, const base::HttpHeaders& headers,
                                 base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                                 const base::CancelWord* cancelFlag, std::string* detail) = 0;
    // Never null.
    virtual std::shared_ptr<base::PlatformHttpProvider> createHttpProvider() = 0;

    // The configuration's word on whether a repair keeps the user's data; false without one.
    virtual bool isKeepUserDataEnabled() = 0;
    virtual bool queryGeoId() = 0;
    // The language and country of the user interface, "de-DE"; "en-US" if the system doesn't report.
    virtual std::string getLocale() = 0;
    // "US" if the system doesn't report.
    virtual std::string getCountryCode() = 0;
    // The user's languages, the preferred one first; at least one.
    virtual std::vector<std::string> getPreferredLocales() = 0;
    // The one that the suite speaks, in lower case.
    virtual std::string getSupportedLocale() = 0;
    // A description for reports, "Windows 10  64 bit".
    virtual std::string getOSVersionIdentifier() = 0;
    virtual std::string getCPUName() = 0;
    // In GB, rounded: "8 GB"; "-" if the system doesn't report.
    virtual std::string getRAMSize() = 0;
    // "10.0"; empty if the system doesn't report.
    virtual std::string getOSVersion() = 0;
    // The sizes of all files below the directory; links aren't followed. False for a directory that can't be listed;
    // one below it counts nothing then.
    virtual bool getDirectorySize(const WideString& path, std::uint64_t& size) = 0;

    // The next three show a dialog and block until it is closed; always true. The first two don't call the handler
    // when nothing was chosen.
    virtual bool browseFile(bool save, const FileDialogRequest& request, const PlatformResultHandler& handler,
                            std::uint64_t cookie) = 0;
    virtual bool browseBackupFile(std::uint32_t unread, const WideString& extension,
                                  const PlatformResultHandler& handler, std::uint64_t cookie) = 0;
    // `purpose` chooses the title: 0 a place of backups, 1 a place to export to. The handler is always called; with
    // `returnToState` if the user cancelled.
    virtual bool browseFolder(const WideString& startDirectory, const PlatformResultHandler& handler,
                              std::uint64_t cookie, std::uint32_t purpose, const std::string& returnToState) = 0;
    // Always true; a handler is called with "ok" whatever the path, and without one an unreachable path is logged.
    virtual bool checkPermissions(std::uint32_t unread, std::uint32_t alsoUnread, const WideString& path,
                                  const PlatformResultHandler& handler, std::uint64_t cookie) = 0;

    virtual bool registerId(std::int32_t id) = 0;
    virtual bool isIdZero(std::int32_t id) = 0;
    // Ends the main application by its window; the first has the agent start it again.
    virtual void restartZelmoDockset() = 0;
    virtual void exitZelmoDockset() = 0;
    // Both live as long as the platform.
    virtual PlatformUE& getPlatformUE() = 0;
    virtual PlatformCache& getPlatformCache() = 0;
    virtual bool getStateFlag() = 0;
    virtual void syncState() = 0;

protected:
    // Keeps the place of an operation that is no more.
    virtual void keepPlace() {}

public:
    // What the user may have of the path's volume, in bytes; 0 on failure.
    virtual std::uint64_t getDiskFreeSpace(const WideString& path) = 0;
    // Always true; see platform/storage_info.h.
    virtual bool getStorageInfo(StorageInfo& info) = 0;

    virtual ~Platform() = default;
};

}  // namespace dockset
