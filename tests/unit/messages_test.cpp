#include "agent/messages.h"

#include <gtest/gtest.h>

#include "base/language.h"
#include "base/text.h"
#include "captured_log.h"
#include "data/whole_file.h"
#include "temp_directory.h"

namespace {

using tests::Lines;

TEST(Language, IsTheFirstPreferenceThatIsSupported) {
    const std::pair<std::vector<std::string>, const char*> picks[] = {{{"EN-gb"}, "en-gb"},
                                                                      {{"en-US"}, "en"},
                                                                      {{"zh-TW"}, "zh-tw"},
                                                                      {{"xx-YY", "fr-BE", "de"}, "fr"},
                                                                      {{"zh-CN", "de"}, "zh"},
                                                                      {{"xx-YY", "zz", ""}, "en"},
                                                                      {{}, "en"}};
    for (const auto& [preferred, language] : picks) {
        EXPECT_EQ(base::pickSupportedLanguage(preferred), language);
    }
}

class MessagesTest : public testing::Test {
protected:
    bool load(const std::string& document) {
        directory_.write("messages.xml", document);
        messages_ = {};
        return agent::loadMessages(messages_, directory_.file("messages.xml"));
    }

    tests::TempDirectory directory_;
    tests::CapturedLog log_;
    agent::Messages messages_;
};

TEST_F(MessagesTest, OverlaysWhatTheFileNames) {
    EXPECT_TRUE(
        load("<resources><string name=\"zdagent_launch\">Starten</string><string>none</string>"
             "<string name=\"zdagent_close\"/><string name=\"other\">x</string>"
             "<string name=\"zdagent_install_update\">first</string>"
             "<string name=\"zdagent_install_update\">\xC3\xB6</string>"
             "<string name=\"zdagent_download_update\"><b>bold</b></string></resources>"));
    EXPECT_EQ(messages_.launch, W("Starten"));
    EXPECT_EQ(messages_.close, W(""));
    EXPECT_EQ(messages_.installUpdate, W("\u00F6"));
    EXPECT_EQ(messages_.downloadUpdate, W("Download update"));
    EXPECT_EQ(log_.take(), Lines{"agent Found badly formated loc string"});
}

TEST_F(MessagesTest, KeepsItsDefaultsWithoutAList) {
    EXPECT_FALSE(load("<resources><string name=\"zdagent_launch\">alone</string></resources>"));
    EXPECT_EQ(log_.take(), Lines{"agent Failed to read localization xml"});
    EXPECT_EQ(messages_.launch, W("Launch"));
    for (const char* const document : {"", "<resources>", "garbage"}) {
        EXPECT_FALSE(load(document));
        EXPECT_EQ(log_.take(), Lines{"agent Failed to load localization xml"});
    }
}

// Every language of the installation names all texts, fills each, and keeps the balloons' limits.
TEST(Locales, AreWholeAndFitTheBalloons) {
    int menus = 0;
    int dialogs = 0;
    for (const auto& entry : boost::filesystem::directory_iterator(LOCALES_DIRECTORY)) {
        SCOPED_TRACE(entry.path().filename().string());
        const WideString path = base::widen(entry.path().string());
        if (entry.path().extension() == ".json") {
            const data::Value texts = data::readJsonFile(path);
            for (const char* const key : {"RESTORE_PCD_FILE_BROWSER_FORMAT", "RESTORE_PCD_FILE_BROWSER_BODY",
                                          "TRANSFER_IOS_FILE_BROWSER_BODY", "EXPORT_BACKUP_BROWSER_BODY"}) {
                EXPECT_NE(texts.find(key).text, "") << key;
            }
            ++dialogs;
            continue;
        }
        agent::Messages messages;
        ASSERT_TRUE(agent::loadMessages(messages, entry.path()));
        EXPECT_LE(std::max(messages.updateAvailableHeader.size(), messages.updateDownloadedHeader.size()), 63U);
        EXPECT_LE(std::max(messages.updateAvailableText.size(), messages.updateDownloadedText.size()), 255U);
        const auto document = data::readXmlFile(path);
        const auto& items = document.find("resources", "string").items;
        EXPECT_EQ(items.size(), 12U);
        for (const auto& item : items) {
            EXPECT_FALSE(item.text.empty());
        }
        const std::string language = entry.path().stem().string().substr(6);
        EXPECT_EQ(base::pickSupportedLanguage({language}), language);
        EXPECT_TRUE(language.starts_with("en") || messages.launch != agent::Messages().launch) << "not translated";
        ++menus;
    }
    EXPECT_EQ(menus, 29);
    EXPECT_EQ(dialogs, 29);
}

}  // namespace
