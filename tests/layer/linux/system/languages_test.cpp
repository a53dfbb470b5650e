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

TEST(SystemTest, LanguagesAreThoseOfTheDesktopsPrograms) {
    const struct {
        const char* language;
        const char* all;
        const char* messages;
        const char* lang;
        Languages expected;
    } cases[] = {
        {nullptr, nullptr, nullptr, nullptr, {"en-US"}},
        {nullptr, nullptr, nullptr, "de_DE.UTF-8", {"de-DE"}},
        {nullptr, "it_IT@euro", "fr_CA", "de_DE", {"it-IT"}},
        {"pt_BR:pt:de_DE", nullptr, nullptr, "de_DE.UTF-8", {"pt-BR", "pt", "de-DE"}},
        {"de", "C", nullptr, "de_DE.UTF-8", {"en-US"}},
        {"::../x:sr_RS@latin", nullptr, nullptr, "POSIX.UTF-8", {"sr-Latn-RS", "en-US"}},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::PrintToString(each.expected));
        const tests::EnvironmentSetting language("LANGUAGE", each.language);
        const tests::EnvironmentSetting all("LC_ALL", each.all);
        const tests::EnvironmentSetting messages("LC_MESSAGES", each.messages);
        const tests::EnvironmentSetting lang("LANG", each.lang);
        EXPECT_EQ(languages(), each.expected);
    }
}

}  // namespace
