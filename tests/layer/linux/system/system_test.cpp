#include "win32/system.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/text.h"
#include "temp_session.h"

namespace {

using Languages = std::vector<std::string>;

Languages languages() {
    ULONG count = 0;
    ULONG size = 0;
    EXPECT_TRUE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size));
    WideString list(size, WCHAR{});
    EXPECT_TRUE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, list.data(), &size));
    Languages names;
    for (const WCHAR* each = list.data(); *each != 0; each += names.back().size() + 1) {
        names.push_back(base::narrow(each));
    }
    EXPECT_EQ(names.size(), count);
    return names;
}

Languages languagesOf(const char* language, const char* all, const char* messages, const char* lang) {
    const tests::EnvironmentSetting one("LANGUAGE", language);
    const tests::EnvironmentSetting two("LC_ALL", all);
    const tests::EnvironmentSetting three("LC_MESSAGES", messages);
    const tests::EnvironmentSetting four("LANG", lang);
    return languages();
}

TEST(SystemTest, LanguagesAreThoseOfTheDesktopsPrograms) {
    EXPECT_EQ(languagesOf(nullptr, nullptr, nullptr, nullptr), Languages{"en-US"});
    EXPECT_EQ(languagesOf(nullptr, nullptr, nullptr, "de_DE.UTF-8"), Languages{"de-DE"});
    EXPECT_EQ(languagesOf(nullptr, "", "fr_CA", "de_DE.UTF-8"), Languages{"fr-CA"});
    EXPECT_EQ(languagesOf(nullptr, "it_IT@euro", "fr_CA", "de_DE"), Languages{"it-IT"});
    EXPECT_EQ(languagesOf("pt_BR:pt:de_DE", nullptr, nullptr, "de_DE.UTF-8"), (Languages{"pt-BR", "pt", "de-DE"}));
    EXPECT_EQ(languagesOf("de", "C", nullptr, "de_DE.UTF-8"), Languages{"en-US"});
    EXPECT_EQ(languagesOf("de", "C.UTF-8", nullptr, nullptr), (Languages{"de", "en-US"}));
    EXPECT_EQ(languagesOf("::../x:sr_RS@latin", nullptr, nullptr, "POSIX.UTF-8"), (Languages{"sr-Latn-RS", "en-US"}));
}

TEST(SystemTest, LanguageListSaysHowMuchItTakes) {
    const tests::EnvironmentSetting language("LANGUAGE", nullptr);
    const tests::EnvironmentSetting all("LC_ALL", "de_DE");
    ULONG count = 0;
    ULONG size = 3;
    WCHAR buffer[16];
    EXPECT_FALSE(GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, buffer, &size));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(size, 7U);
    EXPECT_TRUE(GetUserPreferredUILanguages(0, &count, buffer, &size));
    EXPECT_EQ(WideString(buffer, size), WideString(W("de-DE\0"), 7));
    EXPECT_FALSE(GetUserPreferredUILanguages(0x8000, &count, buffer, &size));
}

TEST(SystemTest, LocaleTellsTheRoomThatItTakes) {
    const tests::EnvironmentSetting all("LC_ALL", "de_DE");
    CHAR text[3]{};
    EXPECT_EQ(GetLocaleInfoA(LOCALE_CUSTOM_UI_DEFAULT, LOCALE_SISO639LANGNAME, nullptr, 0), 3);
    EXPECT_EQ(GetLocaleInfoA(LOCALE_CUSTOM_UI_DEFAULT, LOCALE_SISO639LANGNAME, text, 2), 0);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(GetLocaleInfoA(LOCALE_CUSTOM_UI_DEFAULT, LOCALE_SISO639LANGNAME, text, 3), 3);
}

TEST(SystemTest, LowersLetters) {
    WideString text = W("EN-gb \u00C4\u0416");
    EXPECT_EQ(CharLowerW(text.data()), text.data());
    EXPECT_EQ(text, W("en-gb \u00E4\u0436"));
    EXPECT_EQ(reinterpret_cast<ULONG_PTR>(CharLowerW(reinterpret_cast<LPWSTR>(ULONG_PTR{'Q'}))), ULONG_PTR{'q'});
}

}  // namespace
