#include "agent/messages.h"

#include <gtest/gtest.h>

#include "base/language.h"
#include "captured_log.h"
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

}  // namespace
