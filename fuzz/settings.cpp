// app_settings.json: what was taken over from any document is written so that the next start reads it all.
#include "data/json_value.h"
#include "fuzz.h"
#include "settings/settings_merge.h"
#include "trees.h"

using data::Value;

FUZZ_TARGET(settings) {
    const Value stored = data::parseJson(input.data(), input.size());
    if (!stored.isObject()) {
        return;
    }
    Value settings = dockset::defaultSettings();
    dockset::mergeSettings(stored, settings);
    const Value& port = settings.find("proxy", "port");
    fuzz::require(port.integer == 0 || dockset::isPort(port), "a port is one");
    fuzz::require(settings.find("proxy", "exception").isString(), "a proxy has its exceptions");
    const auto written = data::toJsonBytes(settings);
    const Value read = data::parseJson(written.data(), written.size());
    fuzz::require(fuzz::describe(read) == fuzz::describe(settings), "what was saved can be read");
    Value next = dockset::defaultSettings();
    dockset::mergeSettings(read, next);
    fuzz::require(fuzz::describe(next) == fuzz::describe(settings), "the next start has the same settings");
}
