// The user's languages and country.
#include <array>

#include "base/language.h"
#include "base/log_receiver.h"
#include "base/text.h"
#include "platform/platform_win32.h"
#include "win32/system.h"

namespace dockset {

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

// False, and logged by the query's name, if the system doesn't report.
bool queryLocale(const char* tag, LCTYPE type, const char* name, std::string& text) {
    std::array<char, 250> buffer{};
    if (GetLocaleInfoA(GetUserDefaultUILanguage(), type, buffer.data(), static_cast<int>(buffer.size())) == 0) {
        base::logMessage(tag, std::string(name) + " failed");
        return false;
    }
    text = buffer.data();
    return true;
}

}  // namespace

std::string PlatformWin32::getLocale() {
    if (languageOverride_) {
        return *languageOverride_;
    }
    std::string language;
    std::string country;
    if (!queryLocale("getLocale", LOCALE_SISO639LANGNAME, "LOCALE_SISO639LANGNAME", language) ||
        !queryLocale("getLocale", LOCALE_SISO3166CTRYNAME, "LOCALE_SISO3166CTRYNAME", country)) {
        return "en-US";
    }
    std::string locale = language + "-" + country;
    base::logMessage("getLocale", "Found locale " + locale);
    return locale;
}

std::string PlatformWin32::getCountryCode() {
    constexpr const char* tag = "getCountryCode";
    std::string country;
    if (!queryLocale(tag, LOCALE_SISO3166CTRYNAME, "LOCALE_SISO3166CTRYNAME", country)) {
        return "US";
    }
    base::logMessage(tag, "Found country " + country);
    return country;
}

std::string PlatformWin32::getSupportedLocale() { return base::pickSupportedLanguage(getPreferredLocales()); }

bool PlatformWin32::queryGeoId() {
    GetUserGeoID(GEOCLASS_NATION);
    return false;
}

std::vector<std::string> PlatformWin32::getPreferredLocales() {
    if (languageOverride_) {
        return {*languageOverride_};
    }
    std::vector<std::string> locales = systemLocales();
    return locales.empty() ? std::vector<std::string>{getLocale()} : locales;
}

}  // namespace dockset
