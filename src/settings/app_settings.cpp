#include "settings/app_settings.h"

#include <atomic>
#include <string>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/paths.h"
#include "data/data_file.h"
#include "data/json_value.h"
#include "data/whole_file.h"
#include "settings/autostart.h"
#include "settings/configuration.h"
#include "settings/settings_merge.h"
#include "settings/settings_mutex.h"
#include "win32/identifier.h"

namespace dockset {

using data::Value;
using data::ValueType;

namespace {

void log(const std::string& text) { base::logMessage("AppSettings", text); }

boost::filesystem::path inSupportDirectory(const char* name) {
    return base::applicationDirectory(base::ApplicationSupport) / name;
}

// Empty if the system gives no identifier; it is tried again at the next start.
std::string createInstanceUuid() {
    UUID uuid{};
    const RPC_STATUS created = UuidCreate(&uuid);
    RPC_CSTR text = nullptr;
    if ((created != RPC_S_OK && created != RPC_S_UUID_LOCAL_ONLY) || UuidToStringA(&uuid, &text) != RPC_S_OK) {
        return {};
    }
    std::string result(reinterpret_cast<const char*>(text));
    RpcStringFreeA(&text);
    return result;
}

Value loadProSettings(const boost::filesystem::path& path) {
    Value settings = data::readXmlFile(base::widePath(path));
    if (settings.isEmpty()) {
        settings = Value(ValueType::Object);
    }
    Value& section = data::ensure(settings, "pro-settings", ValueType::Object);
    data::ensure(section, "username", ValueType::String);
    data::ensure(section, "password", ValueType::String);
    return settings;
}

void noteSecondObject() {
    static std::atomic_flag made = ATOMIC_FLAG_INIT;
    if (made.test_and_set()) {
        log("ERROR TWO APP SETTINGS IN SAME PROCESS");
    }
}

}  // namespace

std::shared_ptr<AppSettings> AppSettings::instance() {
    // Never destroyed: threads that end in static destructors still read the settings.
    static auto* const settings = new std::shared_ptr<AppSettings>(std::make_shared<AppSettings>());
    return *settings;
}

AppSettings::AppSettings()
    : settingsPath_(inSupportDirectory("app_settings.json")),
      configPath_(inSupportDirectory("zd-config.xml")),
      proSettingsPath_(inSupportDirectory("zd-pro-app-settings.xml")) {
    noteSecondObject();
    config_ = data::loadConfiguration(base::widePath(configPath_));
    proSettings_ = loadProSettings(proSettingsPath_);
    settings_ = defaultSettings();
    load();
    if (settings_.find("instance_uuid").isEmpty()) {
        if (std::string uuid = createInstanceUuid(); !uuid.empty()) {
            settings_.set("instance_uuid", std::move(uuid));
        }
    }
    save();
}

Value AppSettings::settings() {
    log("App settings requested");
    const std::lock_guard lock(mutex_);
    load();
    return settings_;
}

Value AppSettings::config() const {
    const std::lock_guard lock(mutex_);
    return config_;
}

void AppSettings::load() {
    Value stored;
    {
        const SettingsMutexLock lock;
        stored = data::readJsonFile(base::widePath(settingsPath_));
    }
    if (!stored.isObject()) {
        log("No saved settings found");
        return;
    }
    log("Loading app settings from disk");
    mergeSettings(stored, settings_);
}

void AppSettings::save() {
    {
        const SettingsMutexLock lock;
        const auto file = data::DataFile::NewEmptyFile(base::widePath(settingsPath_));
        log(data::writeJson(settings_, file) ? "Saved app settings" : "Failed to write app settings to file");
    }
    const Value& autostart = settings_.find("start_agent_on_system_start");
    if (autostart.type == ValueType::Boolean) {
        applyAutostart(autostart.boolean);
    }
}

Value AppSettings::autoUpdateConfig() const {
    const Value configuration = config();
    const Value& section = configuration.find("config", "auto-update");
    if (!section.isObject()) {
        return Value(ValueType::Null);
    }
    Value result(ValueType::Object);
    if (section.hasString("server") && !section.find("server").isEmpty()) {
        result.set("server", section.find("server"));
    }
    return result;
}

Value AppSettings::proxySettings(std::string& mode) {
    const Value current = settings();
    const std::string& selected = current.find("proxy_setting").text;
    const Value& details = current.find("proxy");
    Value result(ValueType::Object);
    for (const char* const key : {"address", "port", "userName", "password", "autoConfigScript"}) {
        result.set(key, "");
    }
    mode = selected == "none" ? "none" : selected == "manual" || selected == "scripturl" ? "manual" : "auto";
    if (selected == "manual") {
        result.set("address", details.find("address").text);
        if (isPort(details.find("port"))) {
            result.set("port", details.find("port").toText());
        }
    } else if (selected == "scripturl") {
        result.set("autoConfigScript", details.find("scripturl").text);
    }
    return result;
}

}  // namespace dockset
