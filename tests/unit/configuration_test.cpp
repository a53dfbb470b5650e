#include "settings/configuration.h"

#include <gtest/gtest.h>

#include "data/json_value.h"
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

TEST_F(ConfigurationTest, CompletesTheSkeleton) {
    const auto bytes = data::toJsonBytes(load("<config/>"));
    EXPECT_EQ(
        std::string(bytes.begin(), bytes.end()),
        "{\r\n \"config\": {\r\n"
        "  \"device-repair\": {\r\n   \"enable-keep-userdata\": \"\"\r\n  },\r\n"
        "  \"device-support\": {\r\n   \"accept-unrecognized-devices\": \"\",\r\n   \"device-list\": \"\"\r\n  },\r\n"
        "  \"device-update-lib\": {\r\n   \"app-cert-type\": \"\",\r\n   \"build-variant\": \"\",\r\n"
        "   \"fuas-server\": \"\",\r\n   \"groups\": \"\",\r\n   \"uep-server\": \"\"\r\n  },\r\n"
        "  \"pro-settings\": {\r\n   \"password\": \"\",\r\n   \"startupMode\": \"\",\r\n   \"username\": \"\"\r\n  "
        "},\r\n"
        "  \"update-engine\": {\r\n   \"customization\": \"\",\r\n   \"disable-low-battery-check\": \"\",\r\n"
        "   \"disable-version-check\": \"\",\r\n   \"fallback-login\": \"\",\r\n"
        "   \"save-debug-phone-info\": \"\",\r\n   \"server\": \"\"\r\n  },\r\n"
        "  \"zelmo-transfer\": {\r\n   \"save-debug-data\": \"\"\r\n  }\r\n }\r\n}");
}

TEST_F(ConfigurationTest, KeepsWhatFitsAndReplacesWhatDoesNot) {
    const Value tree = load(
        "<config><pro-settings><username>u</username><other>o</other><password>p<q/></password></pro-settings>"
        "<device-support>text</device-support><update-engine><server>1</server><server>2</server></update-engine>"
        "<auto-update><server>s</server></auto-update></config>");
    EXPECT_EQ(tree.find("config", "pro-settings", "username").text, "u");
    EXPECT_EQ(tree.find("config", "pro-settings", "other").text, "o");
    EXPECT_EQ(tree.find("config", "pro-settings", "password").type, ValueType::String);
    EXPECT_EQ(tree.find("config", "pro-settings", "password").text, "");
    EXPECT_TRUE(tree.find("config", "device-support").isObject());
    EXPECT_TRUE(tree.find("config", "update-engine", "server").isString());
    EXPECT_EQ(tree.find("config", "auto-update", "server").text, "s");
}

}  // namespace
