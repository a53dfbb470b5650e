#include "agent/messages.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "base/language.h"
#include "base/log.h"
#include "base/text.h"
#include "captured_log.h"
#include "data/whole_file.h"
#include "temp_session.h"
#include "win32/script.h"

using tests::Lines;

TEST(Language, IsTheFirstPreferenceThatIsSupported) {
    const auto pick = [](const std::vector<std::string>& preferred) { return base::pickSupportedLanguage(preferred); };
    EXPECT_EQ(pick({"de-DE"}), "de");
    EXPECT_EQ(pick({"EN-gb"}), "en-gb");
    EXPECT_EQ(pick({"en-US"}), "en");
    EXPECT_EQ(pick({"zh-TW"}), "zh-tw");
    EXPECT_EQ(pick({"zh-CN", "de"}), "zh");
    EXPECT_EQ(pick({"pt-PT"}), "pt");
    EXPECT_EQ(pick({"xx-YY", "fr-BE", "de"}), "fr");
    EXPECT_EQ(pick({"xx-YY", "zz", ""}), "en");
    EXPECT_EQ(pick({}), "en");
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
             "<string name=\"zdagent_install_update\">Gr\xC3\xB6\xC3\x9F"
             "e</string>"
             "<string name=\"zdagent_download_update\"><b>bold</b></string></resources>"));
    EXPECT_EQ(messages_.launch, W("Starten"));
    EXPECT_EQ(messages_.close, W(""));
    EXPECT_EQ(messages_.installUpdate, W("Gr\u00F6\u00DFe"));
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
    std::size_t count = 0;
    for (const auto& entry : boost::filesystem::directory_iterator(LOCALES_DIRECTORY)) {
        if (entry.path().extension() != ".xml") {
            continue;
        }
        SCOPED_TRACE(entry.path().filename().string());
        if (entry.path().extension() != ".xml") {
            continue;
        }
        agent::Messages messages;
        ASSERT_TRUE(agent::loadMessages(messages, entry.path()));
        const auto document = data::readXmlFile(base::widen(entry.path().string()));
        EXPECT_EQ(document.find("resources", "string").items.size(), 12U);
        for (const WideString* const header : {&messages.updateAvailableHeader, &messages.updateDownloadedHeader}) {
            EXPECT_LE(header->size(), 63U);
        }
        for (const WideString* const text : {&messages.updateAvailableText, &messages.updateDownloadedText}) {
            EXPECT_LE(text->size(), 255U);
        }
        for (const auto& item : document.find("resources", "string").items) {
            EXPECT_FALSE(item.text.empty());
        }
        if (entry.path().filename().string().find("agent-en") != 0) {
            EXPECT_NE(messages.launch, agent::Messages().launch) << "not translated";
        }
        const std::string language = entry.path().stem().string().substr(6);
        EXPECT_EQ(base::pickSupportedLanguage({language}), language);
        ++count;
    }
    EXPECT_EQ(count, 29U);
}
