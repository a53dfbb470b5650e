#include "settings/configuration.h"

#include <gtest/gtest.h>

#include "temp_directory.h"

namespace {

using data::Value;
using data::ValueType;

class ConfigurationTest : public testing::Test {
protected:
    Value load(const std::string& text) {
        directory_.write("zd-config.xml", text);
        return data::loadConfiguration(directory_.wide("zd-config.xml"));
    }

    tests::TempDirectory directory_;
};

TEST_F(ConfigurationTest, NoDocumentGetsNoSkeleton) {
    EXPECT_EQ(load("").type, ValueType::Null);
    EXPECT_EQ(load("<config>").type, ValueType::Null);
    EXPECT_EQ(data::loadConfiguration(directory_.wide("missing")).type, ValueType::Null);
}

TEST_F(ConfigurationTest, KeepsWhatFitsReplacesWhatDoesNotAndCompletesTheRest) {
    const Value tree = load(
        "<config><pro-settings><username>u</username><other>o</other><password>p<q/></password></pro-settings>"
        "<device-support>text</device-support><update-engine><server>1</server><server>2</server></update-engine>"
        "<auto-update><server>s</server></auto-update></config>");
    const Value& config = tree.find("config");
    EXPECT_EQ(config.find("pro-settings", "username").text, "u");
    EXPECT_EQ(config.find("pro-settings", "other").text, "o");
    EXPECT_TRUE(config.find("pro-settings").hasString("password"));
    EXPECT_EQ(config.find("pro-settings", "password").text, "");
    EXPECT_TRUE(config.find("device-support").hasString("accept-unrecognized-devices"));
    EXPECT_TRUE(config.find("update-engine").hasString("server"));
    EXPECT_EQ(config.find("auto-update", "server").text, "s");
    const Value made = load("<config/>");
    std::size_t keys = 0;
    for (const auto& [name, section] : made.find("config").members) {
        keys += section.members.size();
    }
    EXPECT_EQ(keys, 18U);
}

}  // namespace
