// What may stand in app_settings.json, and how a stored object is taken over.
#pragma once

#include "data/value.h"

namespace dockset {

// Settings as they are before anything was stored: an Object.
data::Value defaultSettings();

// Takes each known key of the stored Object on its own merits; a value of another shape is passed over, and unknown
// keys are dropped. A key that isn't stored keeps its value in `settings`, but `proxy` is always built afresh, so that
// only what belongs to the selected mode survives.
void mergeSettings(const data::Value& stored, data::Value& settings);

// Whether `port` is an Integer from 1 to 65535.
bool isPort(const data::Value& port);

}  // namespace dockset
