#include "settings/app_settings.h"

#include <future>

#include "base/handle.h"
#include "base/object_names.h"
#include "data/json_value.h"
#include "session_test.h"
#include "win32/mutex.h"

namespace {

using data::Value;
using tests::Lines;

class AppSettingsTest : public tests::SessionTest {
protected:
    void store(const std::string& text) const { session_.write("app_settings.json", text); }
    std::string stored() const { return session_.read("app_settings.json"); }
};

TEST_F(AppSettingsTest, TakeEachKeyOnItsOwnMerits) {
    store(R"({"instance_uuid":"","installed_version":7,"dockset_photo_custom_destination":"","send_usage_data":false,)"
          R"("start_agent_on_system_start":"false","start_zd_on_device_connection":0,"unknown":1})");
    dockset::AppSettings settings;
    const Value taken = settings.settings();
    EXPECT_NE(taken.find("instance_uuid").text, "");
    EXPECT_EQ(&taken.find("installed_version"), &data::nullValue);
    EXPECT_EQ(&taken.find("unknown"), &data::nullValue);
    EXPECT_FALSE(taken.find("send_usage_data").boolean);
    EXPECT_TRUE(taken.find("start_agent_on_system_start").boolean);
    EXPECT_TRUE(taken.find("start_zd_on_device_connection").boolean);
    store(R"({"dockset_photo_custom_destination":"a\u0001\tb","send_usage_data":false})");
    EXPECT_EQ(settings.settings().find("dockset_photo_custom_destination").text, "ab") << "as it could be read again";
    for (const char* const gone : {"{}", "{"}) {
        store(gone);
        EXPECT_FALSE(settings.settings().find("send_usage_data").boolean) << "what is gone keeps its last value";
    }
    EXPECT_EQ(log_.take().back(), "AppSettings No saved settings found");
}

TEST_F(AppSettingsTest, KeepOfTheProxyWhatItsModeUses) {
    dockset::AppSettings settings;
    struct Row {
        const char* mode;
        const char* port;
        const char* kept;   // what is stored
        const char* asked;  // what a request gets
    };
    for (const auto& [mode, port, kept, asked] : {
             Row{R"("manual")", "65535", "manual,a,65535,e,", "manual,a,65535,,5"},
             Row{R"("manual")", "65536", "manual,a,0,e,", "manual,a,,,5"},
             Row{R"("manual")", R"("80")", "manual,a,0,e,", "manual,a,,,5"},
             Row{R"("scripturl")", "80", "scripturl,,0,<local>,s", "manual,,,s,5"},
             Row{R"("auto")", "80", "auto,,0,<local>,", "auto,,,,5"},
             Row{R"("Manual")", "80", "system,,0,<local>,", "auto,,,,5"},
         }) {
        SCOPED_TRACE(std::string(mode) + " " + port);
        store(std::string(R"({"proxy_setting":)") + mode + R"(,"proxy":{"address":"a","port":)" + port +
              R"(,"exception":"e","scripturl":"s"}})");
        const Value taken = settings.settings();
        const Value& proxy = taken.find("proxy");
        EXPECT_EQ(taken.find("proxy_setting").text + "," + proxy.find("address").text + "," +
                      proxy.find("port").toText() + "," + proxy.find("exception").text + "," +
                      proxy.find("scripturl").text,
                  kept);
        std::string answered;
        const Value answer = settings.proxySettings(answered);
        EXPECT_EQ(answered + "," + answer.find("address").text + "," + answer.find("port").text + "," +
                      answer.find("autoConfigScript").text + "," + std::to_string(answer.members.size()),
                  asked);
    }
}

TEST_F(AppSettingsTest, WaitForTheOtherProgram) {
    dockset::AppSettings settings;
    const base::Handle other(CreateMutexW(nullptr, TRUE, base::settingsMutexName));
    auto read = std::async(std::launch::async, [&] { return settings.settings(); });
    EXPECT_EQ(read.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ReleaseMutex(other.get());
    EXPECT_TRUE(read.get().isObject());
}

TEST_F(AppSettingsTest, GoOnThroughEveryFailure) {
    dockset::AppSettings settings;
    log_.take();
    win32::script::failNext("CreateMutexW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(settings.settings().isObject());
    EXPECT_EQ(log_.take()[1], "AppSettings Failed to create mutex, 5");
    for (int i = 0; i < 4; ++i) {
        win32::script::failNext("WaitForSingleObject", ERROR_GEN_FAILURE);
    }
    const auto uuid = settings.settings().find("instance_uuid").text;
    const std::string waited = "AppSettings Wait for mutex failed, 31";
    EXPECT_EQ(log_.take(),
              (Lines{"AppSettings App settings requested", waited, waited, waited, waited,
                     "AppSettings Failed to release mutex, 288", "AppSettings Loading app settings from disk"}));

    boost::filesystem::remove(session_.file("app_settings.json"));
    win32::script::failNext("UuidCreate", 14);
    win32::script::failNext("RegSetValueExW", ERROR_DISK_FULL);
    dockset::AppSettings second;
    EXPECT_EQ(log_.take(), (Lines{"AppSettings ERROR TWO APP SETTINGS IN SAME PROCESS",
                                  "AppSettings No saved settings found", "AppSettings Saved app settings",
                                  "AppSettings Failed to set registry value, ZelmoDocksetAgent, 112"}));
    EXPECT_EQ(stored().find("instance_uuid"), std::string::npos);
}

}  // namespace
