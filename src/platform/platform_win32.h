// The one implementation of the platform.
#pragma once

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <set>

#include "platform/platform.h"
#include "platform/platform_ue.h"
#include "platform/sleep_lock.h"

namespace dockset {

class PlatformWin32 final : public Platform, public PlatformUEWin32 {
public:
    // Reads the configuration and the texts of the user's language; what isn't there has its default. `context` is
    // kept for the programs of the suite that have one.
    explicit PlatformWin32(void* context);

    void setPlatformData(std::uint32_t type, void* data) override;
    void* startProcess(const WideString& path, const std::string& arguments, const WideString& workingDirectory,
                       std::uint32_t* userCancelled, std::string* error) override;
    bool waitForProcess(void* process, std::uint32_t timeoutMs, std::uint32_t* exitCode) override;
    bool pollProcess(void* process, std::uint32_t* exitCode) override;
    std::int32_t killProcess(void* process) override;
    void closeProcess(void* process) override;
    void openUrl(const std::string& url) override;
    void browseMyZelmo(const WCHAR* name) override;
    void browseMyZelmo(const WideString& path) override;
    bool browseMusicFolder(WideString& path) override;
    bool isComputerRunningOnBattery() override;
    void setSleepAllowed(bool allowed) override;
    bool isSleepAllowed() override;
    bool getUrlCached(const std::string& url, base::Bytes& data, bool* fresh, bool useCache, bool keepStale,
                      bool noPinning, const base::CancelWord* cancelFlag, std::string* detail) override;
    bool postUrl(const std::string& url, const base::Bytes& body, base::Bytes& response, bool noPinning,
                 const base::CancelWord* cancelFlag) override;
    std::int32_t httpPost(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                          base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                          const base::CancelWord* cancelFlag) override;
    std::int32_t httpPut(const std::string& url, const base::HttpHeaders& headers, const base::Bytes& body,
                         base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                         const base::CancelWord* cancelFlag) override;
    std::int32_t httpDelete(const std::string& url, const base::HttpHeaders& headers,
                            base::HttpHeaders& responseHeaders, base::Bytes& response, bool noPinning,
                            const base::CancelWord* cancelFlag) override;
    std::int32_t httpGet(const std::string& url, const base::HttpHeaders& headers, base::HttpHeaders& responseHeaders,
                         base::Bytes& response, bool noPinning, const base::CancelWord* cancelFlag,
                         std::string* detail) override;
    std::shared_ptr<base::PlatformHttpProvider> createHttpProvider() override;
    bool isKeepUserDataEnabled() override;
    bool queryGeoId() override;
    std::string getLocale() override;
    std::string getCountryCode() override;
    std::vector<std::string> getPreferredLocales() override;
    std::string getSupportedLocale() override;
    std::string getOSVersionIdentifier() override;
    std::string getCPUName() override;
    std::string getRAMSize() override;
    std::string getOSVersion() override;
    bool getDirectorySize(const WideString& path, std::uint64_t& size) override;
    bool browseFile(bool save, const FileDialogRequest& request, const PlatformResultHandler& handler,
                    std::uint64_t cookie) override;
    bool browseBackupFile(std::uint32_t unread, const WideString& extension, const PlatformResultHandler& handler,
                          std::uint64_t cookie) override;
    bool browseFolder(const WideString& startDirectory, const PlatformResultHandler& handler, std::uint64_t cookie,
                      std::uint32_t purpose, const std::string& returnToState) override;
    bool checkPermissions(std::uint32_t unread, std::uint32_t alsoUnread, const WideString& path,
                          const PlatformResultHandler& handler, std::uint64_t cookie) override;
    bool registerId(std::int32_t id) override;
    bool isIdZero(std::int32_t id) override;
    void restartZelmoDockset() override;
    void exitZelmoDockset() override;
    PlatformUE& getPlatformUE() override;
    PlatformCache& getPlatformCache() override;
    bool getStateFlag() override;
    void syncState() override;
    std::uint64_t getDiskFreeSpace(const WideString& path) override;
    bool getStorageInfo(StorageInfo& info) override;

private:
    void readConfiguration();
    void loadLanguageTable(const std::string& locale);
    // The language's text for the key, or the one given.
    std::string textOr(const std::string& key, const char* otherwise) const;

    // Fixed after construction, but for the cache, which guards itself.
    base::PlatformCacheHandler cache_;
    std::mutex sleepMutex_;
    std::atomic<bool> sleepAllowed_ = true;
    std::shared_ptr<base::SleepLock> sleepLock_;
    std::optional<bool> keepUserData_;
    void* mainWindow_ = nullptr;
    std::optional<std::string> languageOverride_;  // the configuration's word on the language
    std::map<std::string, std::string> languageTable_;
    std::mutex stateMutex_;
    bool stateFlag_ = true;
    std::mutex registeredIdsMutex_;
    std::set<std::int32_t> registeredIds_;
    [[maybe_unused]] void* const context_;
};

}  // namespace dockset
