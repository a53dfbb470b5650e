#include "settings/configuration.h"

#include "base/text.h"
#include "data/whole_file.h"

namespace data {

namespace {

struct Entry {
    const char* section;
    const char* key;
};

constexpr Entry skeleton[] = {
    {"pro-settings", "startupMode"},
    {"pro-settings", "username"},
    {"pro-settings", "password"},
    {"update-engine", "fallback-login"},
    {"update-engine", "server"},
    {"update-engine", "customization"},
    {"update-engine", "disable-version-check"},
    {"update-engine", "disable-low-battery-check"},
    {"update-engine", "save-debug-phone-info"},
    {"device-support", "device-list"},
    {"device-support", "accept-unrecognized-devices"},
    {"device-update-lib", "uep-server"},
    {"device-update-lib", "app-cert-type"},
    {"device-update-lib", "build-variant"},
    {"device-update-lib", "groups"},
    {"device-update-lib", "fuas-server"},
    {"device-repair", "enable-keep-userdata"},
    {"zelmo-transfer", "save-debug-data"},
};

}  // namespace

Value& ensure(Value& parent, std::string_view key, ValueType tag) {
    Value& entry = parent.member(key);
    if (entry.type != tag) {
        entry = Value(tag);
    }
    return entry;
}

void completeConfiguration(Value& configuration) {
    Value& config = ensure(configuration, "config", ValueType::Object);
    for (const auto& [section, key] : skeleton) {
        ensure(ensure(config, section, ValueType::Object), key, ValueType::String);
    }
}

bool isSystest(const Value& configuration) {
    const Value& interval = configuration.find("config", "device-support", "update-interval");
    return interval.isString() && base::toLower(interval.text) == "systest";
}

std::optional<bool> acceptsUnrecognizedDevices(const Value& configuration) {
    const Value& accept = configuration.find("config", "device-support", "accept-unrecognized-devices");
    const bool told = accept.isString() && (accept.text == "yes" || accept.text == "no");
    return told ? std::optional(accept.text == "yes") : std::nullopt;
}

Value loadConfiguration(const WideString& path) {
    Value configuration = readXmlFile(path);
    if (configuration.type != ValueType::Null) {
        completeConfiguration(configuration);
    }
    return configuration;
}

}  // namespace data
