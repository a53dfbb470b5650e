#include "settings/settings_merge.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace dockset {

using data::Value;
using data::ValueType;

namespace {

constexpr std::array<std::string_view, 5> proxyModes = {"none", "manual", "auto", "system", "scripturl"};

Value defaultProxy() {
    Value proxy(ValueType::Object);
    proxy.set("address", "");
    proxy.set("port", 0);
    proxy.set("exception", "<local>");
    proxy.set("scripturl", "");
    return proxy;
}

// Without control characters: written as they are, they would make the file unreadable at the next start.
void copyString(const Value& from, std::string_view key, Value& to) {
    if (from.hasString(key)) {
        std::string text = from.find(key).text;
        std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) < 0x20; });
        to.set(key, std::move(text));
    }
}

void mergeProxy(const Value& stored, Value& settings) {
    Value proxy = defaultProxy();
    const std::string& mode = stored.find("proxy_setting").text;
    const bool known = std::find(proxyModes.begin(), proxyModes.end(), mode) != proxyModes.end();
    const Value& details = known ? stored.find("proxy") : data::nullValue;
    if (mode == "manual") {
        copyString(details, "address", proxy);
        copyString(details, "exception", proxy);
        if (isPort(details.find("port"))) {
            proxy.set("port", details.find("port"));
        }
    } else if (mode == "scripturl") {
        copyString(details, "scripturl", proxy);
    }
    settings.set("proxy_setting", known ? mode : std::string("system"));
    settings.set("proxy", std::move(proxy));
}

}  // namespace

Value defaultSettings() {
    Value settings(ValueType::Object);
    settings.set("dockset_photo_custom_destination", "");
    settings.set("start_zd_on_device_connection", true);
    settings.set("start_agent_on_system_start", true);
    settings.set("send_usage_data", true);
    settings.set("proxy_setting", "system");
    settings.set("proxy", defaultProxy());
    return settings;
}

void mergeSettings(const Value& stored, Value& settings) {
    for (const char* const key : {"instance_uuid", "installed_version"}) {
        if (!stored.find(key).isEmpty()) {
            copyString(stored, key, settings);
        }
    }
    copyString(stored, "dockset_photo_custom_destination", settings);
    for (const char* const key : {"start_zd_on_device_connection", "start_agent_on_system_start", "send_usage_data"}) {
        if (stored.find(key).type == ValueType::Boolean) {
            settings.set(key, stored.find(key));
        }
    }
    mergeProxy(stored, settings);
}

bool isPort(const Value& port) { return port.type == ValueType::Integer && port.integer >= 1 && port.integer <= 65535; }

}  // namespace dockset
