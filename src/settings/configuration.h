// The configuration file zd-config.xml: read, never written.
#pragma once

#include <optional>

#include "data/value.h"
#include "win32/types.h"

namespace data {

// Gives the entry the tag (Object or String), empty, unless it has it already; what it held is lost.
Value& ensure(Value& parent, std::string_view key, ValueType tag);

// Makes sure that the tree has the sections and keys that everybody may look up, as Objects and Strings.
void completeConfiguration(Value& configuration);

// Whether the lists and the updates are to be looked for every few minutes, for tests of the whole system.
bool isSystest(const Value& configuration);

// Whether devices that no list names count too; none where the configuration says neither "yes" nor "no".
std::optional<bool> acceptsUnrecognizedDevices(const Value& configuration);

// The file's tree, completed, or Null if the file is absent or isn't well-formed.
Value loadConfiguration(const WideString& path);

}  // namespace data
