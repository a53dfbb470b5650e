// The languages of the user interface.
#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/system.h"

namespace win32 {

namespace {

constexpr const char* languageOfC = "en-US";

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

bool isC(const std::string& locale) {
    return locale == "C" || locale == "POSIX" || locale.starts_with("C.") || locale.starts_with("POSIX.");
}

// "sr_RS.UTF-8@latin" as "sr-Latn-RS"; empty if it isn't a locale.
std::string nameOf(const std::string& locale) {
    std::string name = locale.substr(0, locale.find_first_of(".@"));
    std::replace(name.begin(), name.end(), '_', '-');
    const auto isPart = [](char c) { return c == '-' || std::isalnum(static_cast<unsigned char>(c)) != 0; };
    if (!std::all_of(name.begin(), name.end(), isPart)) {
        return {};
    }
    const std::string script = locale.ends_with("@latin") ? "-Latn" : locale.ends_with("@cyrillic") ? "-Cyrl" : "";
    return name.insert(std::min(name.find('-'), name.size()), script);
}

// As gettext goes about it: the first of LC_ALL, LC_MESSAGES and LANG that isn't empty is the locale, and LANGUAGE
// comes before it, unless the locale is the one without languages.
std::vector<std::string> userLanguages() {
    std::string locale;
    for (const char* const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (locale.empty()) {
            locale = variable(name);
        }
    }
    const bool isWithout = locale == "C" || locale == "POSIX";
    std::istringstream list((isWithout ? "" : variable("LANGUAGE")) + ":" + locale);
    std::vector<std::string> languages;
    for (std::string each; std::getline(list, each, ':');) {
        const std::string name = isC(each) ? languageOfC : nameOf(each);
        if (!name.empty() && std::find(languages.begin(), languages.end(), name) == languages.end()) {
            languages.push_back(name);
        }
    }
    return languages.empty() ? std::vector<std::string>{languageOfC} : languages;
}

// "DE" of "de-DE" or "zh-Hant-TW"; empty if there is none.
std::string countryOf(const std::string& name) {
    const auto mark = name.rfind('-');
    const std::string last = mark == std::string::npos ? "" : name.substr(mark + 1);
    return last.size() == 2 ? last : "";
}

// The first language's own, or that of the next name of the same language that has one.
std::string country(const std::vector<std::string>& languages, const std::string& language) {
    for (const std::string& name : languages) {
        if (name.substr(0, name.find('-')) == language && !countryOf(name).empty()) {
            return countryOf(name);
        }
    }
    return {};
}

WCHAR lowerCase(WCHAR c) {
    static const locale_t everyLetter = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (everyLetter == nullptr) {
        return c >= u'A' && c <= u'Z' ? static_cast<WCHAR>(c + 32) : c;
    }
    return static_cast<WCHAR>(towlower_l(c, everyLetter));
}

}  // namespace

}  // namespace win32

BOOL WINAPI GetUserPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size) {
    WIN32_MAY_FAIL("GetUserPreferredUILanguages", FALSE);
    if ((flags & ~MUI_LANGUAGE_NAME) != 0 || count == nullptr || size == nullptr || (buffer == nullptr && *size != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const auto languages = win32::userLanguages();
    WideString list;
    for (const std::string& language : languages) {
        list += win32::toWide(language) + WCHAR{};
    }
    list += WCHAR{};
    const ULONG room = *size;
    *count = static_cast<ULONG>(languages.size());
    *size = static_cast<ULONG>(list.size());
    if (buffer == nullptr) {
        return TRUE;
    }
    if (room < list.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    list.copy(buffer, list.size());
    return TRUE;
}

LANGID WINAPI GetUserDefaultUILanguage() { return LOCALE_CUSTOM_UI_DEFAULT; }

int WINAPI GetLocaleInfoA(LCID locale, LCTYPE type, LPSTR data, int size) {
    WIN32_MAY_FAIL("GetLocaleInfoA", 0);
    const auto languages = win32::userLanguages();
    const std::string language = languages[0].substr(0, languages[0].find('-'));
    const std::string text = type == LOCALE_SISO639LANGNAME    ? language
                             : type == LOCALE_SISO3166CTRYNAME ? win32::country(languages, language)
                                                               : "";
    if (locale != LOCALE_CUSTOM_UI_DEFAULT || text.empty() || size < 0 || (data == nullptr && size != 0)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (size == 0) {
        return static_cast<int>(text.size()) + 1;
    }
    if (size <= static_cast<int>(text.size())) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    data[text.copy(data, text.size())] = 0;
    return static_cast<int>(text.size()) + 1;
}

LPWSTR WINAPI CharLowerW(LPWSTR text) {
    const auto character = reinterpret_cast<ULONG_PTR>(text);
    if (character <= 0xFFFF) {
        return reinterpret_cast<LPWSTR>(static_cast<ULONG_PTR>(win32::lowerCase(static_cast<WCHAR>(character))));
    }
    for (LPWSTR each = text; *each != 0; ++each) {
        *each = win32::lowerCase(*each);
    }
    return text;
}
