#include "platform/platform_win32.h"

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "base/string_table.h"
#include "data/whole_file.h"

namespace dockset {

PlatformWin32::PlatformWin32(void* context) : PlatformUEWin32(static_cast<Platform&>(*this)), context_(context) {
    readConfiguration();
    loadLanguageTable(getSupportedLocale());
}

void PlatformWin32::readConfiguration() {
    const auto path = base::applicationDirectory(base::ApplicationSupport) / "zd-config.xml";
    const data::Value configuration = data::readXmlFile(base::widePath(path));
    const data::Value& keepUserData = configuration.find("config", "device-repair", "enable-keep-userdata");
    if (keepUserData.isString() && (keepUserData.text == "no" || keepUserData.text == "yes")) {
        keepUserData_ = keepUserData.text == "yes";
    }
    const data::Value& language = configuration.find("config", "localization", "language-code");
    if (language.isString() && !language.text.empty() && language.text != "default") {
        languageOverride_ = language.text;
    }
}

void PlatformWin32::loadLanguageTable(const std::string& locale) {
    const auto path = base::applicationDirectory(base::Resources) / "locales" / ("zd_lang_" + locale + ".json");
    const data::Value texts = data::readJsonFile(base::widePath(path));
    if (!texts.isObject()) {
        return;
    }
    for (const auto& [key, value] : texts.members) {
        if (!key.empty() && !value.text.empty()) {
            languageTable_[key] = value.text;
        }
    }
}

std::string PlatformWin32::textOr(const std::string& key, const char* otherwise) const {
    const auto found = languageTable_.find(key);
    return found == languageTable_.end() ? otherwise : found->second;
}

void PlatformWin32::setPlatformData(std::uint32_t type, void* data) {
    constexpr const char* tag = "PlatformWin32";
    if (type != mainWindowData) {
        base::logMessage(tag, "Unknown platform data type " + std::to_string(type));
        return;
    }
    mainWindow_ = data;
    base::logMessage(tag, data == nullptr ? "Main window set to NULL" : "Main window set");
}

void PlatformWin32::setSleepAllowed(bool allowed) {
    const std::lock_guard lock(sleepMutex_);
    if (allowed == sleepAllowed_) {
        return;
    }
    sleepAllowed_ = allowed;
    sleepLock_ = allowed ? nullptr : std::make_shared<base::SleepLock>(base::findString("REASON"));
}

bool PlatformWin32::isSleepAllowed() {
    const std::lock_guard lock(sleepMutex_);
    return sleepAllowed_;
}

bool PlatformWin32::isKeepUserDataEnabled() { return keepUserData_.value_or(false); }

bool PlatformWin32::registerId(std::int32_t id) {
    const std::lock_guard lock(registeredIdsMutex_);
    registeredIds_.insert(id);
    return true;
}

bool PlatformWin32::isIdZero(std::int32_t id) { return id == 0; }

PlatformUE& PlatformWin32::getPlatformUE() { return *this; }

PlatformCache& PlatformWin32::getPlatformCache() { return cache_; }

bool PlatformWin32::getStateFlag() {
    const std::lock_guard lock(stateMutex_);
    return stateFlag_;
}

void PlatformWin32::syncState() { const std::lock_guard lock(stateMutex_); }

}  // namespace dockset
