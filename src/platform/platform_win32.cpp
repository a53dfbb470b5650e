#include "platform/platform_win32.h"

#include <array>

#include "base/language.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "net/cached_get.h"
#include "net/http_provider_curl.h"
#include "net/perform_request.h"
#include "platform/directories.h"
#include "settings/whole_file.h"
#include "win32/system.h"

namespace dockset {

using base::Bytes;
using base::CancelWord;
using base::HttpHeaders;

namespace {

std::string narrowLowBytes(base::WideView text) {
    std::string narrow;
    for (const WCHAR c : text) {
        narrow += static_cast<char>(c & 0xFF);
    }
    return narrow;
}

// The names that the system lists; none on failure.
std::vector<std::string> systemLocales() {
    constexpr const char* tag = "getPreferredLocales";
    std::array<WCHAR, 4096> buffer{};
    ULONG count = 0;
    auto size = static_cast<ULONG>(buffer.size());
    if (GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, buffer.data(), &size) == FALSE) {
        base::logMessage(tag, "GetUserPreferredUILanguages failed with " + std::to_string(GetLastError()));
        return {};
    }
    if (count == 0) {
        return {};
    }
    std::vector<std::string> locales;
    for (const WCHAR* next = buffer.data(); *next != 0;) {
        const base::WideView name(next);
        locales.push_back(narrowLowBytes(name));
        base::logMessage(tag, "Found locale " + locales.back());
        next += name.size() + 1;
    }
    base::logMessage(tag, std::to_string(locales.size()) + " locales found");
    return locales;
}

// False, and logged by the question's name, if the system doesn't tell.
bool askLocale(LCTYPE type, const char* name, std::string& answer) {
    std::array<char, 250> buffer{};
    if (GetLocaleInfoA(GetUserDefaultUILanguage(), type, buffer.data(), static_cast<int>(buffer.size())) == 0) {
        base::logMessage("getLocale", std::string(name) + " failed");
        return false;
    }
    answer = buffer.data();
    return true;
}

}  // namespace

PlatformWin32::PlatformWin32(void* window) : window_(window) {
    readConfiguration();
    loadLanguageTable(base::pickSupportedLanguage(getPreferredLocales()));
}

void PlatformWin32::readConfiguration() {
    const auto path = base::applicationDirectory(base::ApplicationSupport) / "zd-config.xml";
    const data::Value configuration = data::readXmlFile(base::widePath(path));
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

bool PlatformWin32::getUrlCached(const std::string& url, Bytes& data, bool* fresh, bool useCache, bool keepStale,
                                 bool noPinning, const CancelWord* cancelFlag, std::string* detail) {
    const auto get = [this](auto&&... arguments) { return httpGet(arguments...); };
    return base::getUrlCached(cache_, get, url, data, fresh, useCache, keepStale, noPinning, cancelFlag, detail);
}

bool PlatformWin32::postUrl(const std::string& url, const Bytes& body, Bytes& response, bool noPinning,
                            const CancelWord* cancelFlag) {
    HttpHeaders responseHeaders;
    const std::int32_t status = httpPost(url, {}, body, responseHeaders, response, noPinning, cancelFlag);
    return status >= 200 && status <= 299;
}

std::int32_t PlatformWin32::httpPost(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                     HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                     const CancelWord* cancelFlag) {
    return base::runHttpRequest("POST", url, body, headers, responseHeaders, response, noPinning, cancelFlag, nullptr);
}

std::int32_t PlatformWin32::httpPut(const std::string& url, const HttpHeaders& headers, const Bytes& body,
                                    HttpHeaders& responseHeaders, Bytes& response, bool noPinning,
                                    const CancelWord* cancelFlag) {
    return base::runHttpRequest("PUT", url, body, headers, responseHeaders, response, noPinning, cancelFlag, nullptr);
}

std::int32_t PlatformWin32::httpDelete(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                       Bytes& response, bool noPinning, const CancelWord* cancelFlag) {
    return base::runHttpRequest("DELETE", url, {}, headers, responseHeaders, response, noPinning, cancelFlag, nullptr);
}

std::int32_t PlatformWin32::httpGet(const std::string& url, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                    Bytes& response, bool noPinning, const CancelWord* cancelFlag,
                                    std::string* detail) {
    return base::runHttpRequest("GET", url, {}, headers, responseHeaders, response, noPinning, cancelFlag, detail);
}

std::shared_ptr<base::PlatformHttpProvider> PlatformWin32::createHttpProvider() {
    return std::make_shared<base::HttpProviderCURL>();
}

std::string PlatformWin32::getLocale() {
    if (languageOverride_) {
        return *languageOverride_;
    }
    std::string language;
    std::string country;
    if (!askLocale(LOCALE_SISO639LANGNAME, "LOCALE_SISO639LANGNAME", language) ||
        !askLocale(LOCALE_SISO3166CTRYNAME, "LOCALE_SISO3166CTRYNAME", country)) {
        return "en-US";
    }
    std::string locale = language + "-" + country;
    base::logMessage("getLocale", "Found locale " + locale);
    return locale;
}

std::vector<std::string> PlatformWin32::getPreferredLocales() {
    if (languageOverride_) {
        return {*languageOverride_};
    }
    std::vector<std::string> locales = systemLocales();
    return locales.empty() ? std::vector<std::string>{getLocale()} : locales;
}

}  // namespace dockset
