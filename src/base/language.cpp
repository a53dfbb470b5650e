#include "base/language.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "base/text.h"
#include "win32/system.h"

namespace base {

namespace {

constexpr std::array<std::string_view, 29> supportedLanguages = {
    "ar", "cs", "da", "de", "el", "en",    "en-GB", "es", "es-ES", "fi", "fr", "fr-CA", "hu",    "it",   "he",
    "ja", "ko", "nb", "nl", "pl", "pt-BR", "pt",    "ru", "sv",    "th", "tr", "zh",    "zh-HK", "zh-TW"};

std::string lowerCase(std::string_view text) {
    WideString wide = widen(text);
    CharLowerW(wide.data());
    return narrow(wide);
}

bool isSupported(const std::string& language) {
    return std::any_of(supportedLanguages.begin(), supportedLanguages.end(),
                       [&](std::string_view supported) { return lowerCase(supported) == language; });
}

}  // namespace

std::string pickSupportedLanguage(const std::vector<std::string>& preferred) {
    for (const std::string& entry : preferred) {
        std::string language = lowerCase(entry);
        if (isSupported(language)) {
            return language;
        }
        language.resize(std::min(language.find('-'), language.size()));
        if (isSupported(language)) {
            return language;
        }
    }
    return "en";
}

}  // namespace base
