// What a hive of the registry holds, and the text of its file: a JSON object of keys, each an object of values.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "win32/types.h"

namespace win32 {

struct RegistryValue {
    std::string name;  // as it was given; the maps' keys are folded
    DWORD type = 0;
    std::vector<BYTE> data;

    bool operator==(const RegistryValue&) const = default;
};

struct RegistryKeyContent {
    std::string path;  // as it was given
    std::map<std::string, RegistryValue> values;

    bool operator==(const RegistryKeyContent&) const = default;
};

using RegistryContent = std::map<std::string, RegistryKeyContent>;

// Adds to the content what the text holds; false if it is no text of a hive.
bool parseHive(const std::string& text, RegistryContent& content);

std::string hiveText(const RegistryContent& content);

// Whether a name can be kept: the file holds Unicode text, of which a lone surrogate is none.
bool isStorable(const std::string& name);

// The form in which names are compared: all letters in lower case.
std::string foldName(const std::string& name);

}  // namespace win32
