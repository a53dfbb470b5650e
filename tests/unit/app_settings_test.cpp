#include "settings/app_settings.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>
#include <fstream>
#include <future>
#include <iterator>

#include "base/handle.h"
#include "base/object_names.h"
#include "captured_log.h"
#include "data/json_value.h"
#include "settings/settings_merge.h"
#include "temp_session.h"
#include "win32/mutex.h"
#include "win32/registry.h"
#include "win32/script.h"

using data::Value;
using data::ValueType;
using tests::Lines;

namespace {

Value json(const std::string& text) { return data::parseJson(text.data(), text.size()); }

Value merged(const std::string& stored) {
    Value settings = dockset::defaultSettings();
    dockset::mergeSettings(json(stored), settings);
    return settings;
}

class AppSettingsTest : public testing::Test {
protected:
    AppSettingsTest() { boost::filesystem::create_directories(support()); }
    ~AppSettingsTest() override { win32::script::reset(); }

    boost::filesystem::path support() const {
        return (session_.path() / "home/Documents/Tavrin/Zelmo Dockset").string();
    }
    void write(const char* name, const std::string& text) const { std::ofstream((support() / name).string()) << text; }
    std::string stored() const {
        std::ifstream file((support() / "app_settings.json").string(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    tests::TempSession session_;
    tests::CapturedLog log_;
};

}  // namespace

TEST(SettingsMerge, TakesEachKeyOnItsOwnMerits) {
    const Value settings = merged(
        R"({"instance_uuid":"","installed_version":7,"dockset_photo_custom_destination":"","send_usage_data":false,)"
        R"("start_agent_on_system_start":"false","start_zd_on_device_connection":0,"unknown":1})");
    EXPECT_EQ(&settings.find("instance_uuid"), &data::nullValue);
    EXPECT_EQ(&settings.find("installed_version"), &data::nullValue);
    EXPECT_EQ(&settings.find("unknown"), &data::nullValue);
    EXPECT_FALSE(settings.find("send_usage_data").boolean);
    EXPECT_TRUE(settings.find("start_agent_on_system_start").boolean);
    EXPECT_TRUE(settings.find("start_zd_on_device_connection").boolean);
    Value later = settings;
    dockset::mergeSettings(json("{}"), later);
    EXPECT_FALSE(later.find("send_usage_data").boolean) << "a key that is gone keeps its last value";
}

TEST(SettingsMerge, KeepsOfTheProxyWhatItsModeUses) {
    const auto proxy = [](const std::string& mode, const char* port) {
        return merged(R"({"proxy_setting":)" + mode + R"(,"proxy":{"address":"a","port":)" + port +
                      R"(,"exception":"e","scripturl":"s"}})");
    };
    const auto fields = [](const Value& settings) {
        const Value& found = settings.find("proxy");
        return settings.find("proxy_setting").text + "," + found.find("address").text + "," +
               found.find("port").toText() + "," + found.find("exception").text + "," + found.find("scripturl").text;
    };
    EXPECT_EQ(fields(proxy("\"manual\"", "65535")), "manual,a,65535,e,");
    EXPECT_EQ(fields(proxy("\"manual\"", "65536")), "manual,a,0,e,");
    EXPECT_EQ(fields(proxy("\"manual\"", "0")), "manual,a,0,e,");
    EXPECT_EQ(fields(proxy("\"manual\"", "\"80\"")), "manual,a,0,e,");
    EXPECT_EQ(fields(proxy("\"scripturl\"", "80")), "scripturl,,0,<local>,s");
    EXPECT_EQ(fields(proxy("\"auto\"", "80")), "auto,,0,<local>,");
    EXPECT_EQ(fields(proxy("\"Manual\"", "80")), "system,,0,<local>,");
    EXPECT_EQ(fields(proxy("1", "80")), "system,,0,<local>,");
}

TEST_F(AppSettingsTest, SeesWhatTheOtherProgramSaves) {
    dockset::AppSettings settings;
    const std::string first = stored();
    EXPECT_EQ(data::toJsonBytes(json(first)), std::vector<std::uint8_t>(first.begin(), first.end()));
    log_.take();
    write("app_settings.json", R"({"send_usage_data":false})");
    EXPECT_FALSE(settings.settings().find("send_usage_data").boolean);
    EXPECT_EQ(log_.take(), (Lines{"AppSettings App settings requested", "AppSettings Loading app settings from disk"}));
    write("app_settings.json", "{");
    EXPECT_FALSE(settings.settings().find("send_usage_data").boolean);
    EXPECT_EQ(log_.take().back(), "AppSettings No saved settings found");
}

TEST_F(AppSettingsTest, AnswersForTheProxyAndTheUpdateServer) {
    write("zd-config.xml", "<config><auto-update><server>stage</server></auto-update></config>");
    write("app_settings.json", R"({"proxy_setting":"manual","proxy":{"address":"host","port":8080,"exception":"e"}})");
    dockset::AppSettings settings;
    EXPECT_EQ(settings.autoUpdateConfig().find("server").text, "stage");
    EXPECT_TRUE(settings.config().hasString("config") || settings.config().find("config", "pro-settings").isObject());
    std::string mode;
    const auto ask = [&] {
        const Value proxy = settings.proxySettings(mode);
        return mode + "," + proxy.find("address").text + "," + proxy.find("port").text + "," +
               proxy.find("autoConfigScript").text + "," + std::to_string(proxy.members.size());
    };
    EXPECT_EQ(ask(), "manual,host,8080,,5");
    write("app_settings.json", R"({"proxy_setting":"scripturl","proxy":{"scripturl":"http://s"}})");
    EXPECT_EQ(ask(), "manual,,,http://s,5");
    write("app_settings.json", R"({"proxy_setting":"none"})");
    EXPECT_EQ(ask(), "none,,,,5");
    write("app_settings.json", R"({"proxy_setting":"system"})");
    EXPECT_EQ(ask(), "auto,,,,5");

    write("zd-config.xml", "<config><auto-update><server/></auto-update></config>");
    EXPECT_EQ(dockset::AppSettings().autoUpdateConfig().find("server").type, ValueType::Null);
    write("zd-config.xml", "");
    EXPECT_EQ(dockset::AppSettings().autoUpdateConfig().type, ValueType::Null);
    EXPECT_EQ(dockset::AppSettings().config().type, ValueType::Null);
}

TEST_F(AppSettingsTest, WaitsForTheOtherProgram) {
    dockset::AppSettings settings;
    const base::Handle other(CreateMutexW(nullptr, TRUE, base::settingsMutexName));
    auto read = std::async(std::launch::async, [&] { return settings.settings(); });
    EXPECT_EQ(read.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ReleaseMutex(other.get());
    EXPECT_TRUE(read.get().isObject());
}

TEST_F(AppSettingsTest, GoesOnThroughEveryFailure) {
    dockset::AppSettings settings;
    log_.take();
    win32::script::failNext("CreateMutexW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(settings.settings().isObject());
    EXPECT_EQ(log_.take()[1], "AppSettings Failed to create mutex, 5");
    for (int i = 0; i < 4; ++i) {
        win32::script::failNext("WaitForSingleObject", ERROR_GEN_FAILURE);
    }
    settings.settings();
    EXPECT_EQ(log_.take(), (Lines{"AppSettings App settings requested", "AppSettings Wait for mutex failed, 31",
                                  "AppSettings Wait for mutex failed, 31", "AppSettings Wait for mutex failed, 31",
                                  "AppSettings Wait for mutex failed, 31", "AppSettings Failed to release mutex, 288",
                                  "AppSettings Loading app settings from disk"}));

    const auto uuid = settings.settings().find("instance_uuid").text;
    boost::filesystem::remove(support() / "app_settings.json");
    win32::script::failNext("UuidCreate", 14);
    win32::script::failNext("RegSetValueExW", ERROR_DISK_FULL);
    log_.take();
    dockset::AppSettings second;
    EXPECT_EQ(log_.take(), (Lines{"AppSettings ERROR TWO APP SETTINGS IN SAME PROCESS",
                                  "AppSettings No saved settings found", "AppSettings Saved app settings",
                                  "AppSettings Failed to set registry value, ZelmoDocksetAgent, 112"}));
    EXPECT_EQ(stored().find("instance_uuid"), std::string::npos);
    EXPECT_EQ(stored().find(uuid), std::string::npos);
    win32::script::failNext("RegCreateKeyExW", ERROR_ACCESS_DENIED);
    log_.take();
    dockset::AppSettings third;
    const Lines lines = log_.take();
    EXPECT_EQ(Lines(lines.end() - 2, lines.end()),
              (Lines{"AppSettings Failed to open registry key, 5",
                     "AppSettings Failed to set registry value, ZelmoDocksetAgent, 6"}));
}
