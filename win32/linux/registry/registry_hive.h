// A hive of the registry as it lies on the disk.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "win32/types.h"

namespace win32 {

struct RegistryValue {
    std::string name;  // as it was given; the maps' keys are folded
    DWORD type = 0;
    std::vector<BYTE> data;
};

struct RegistryKeyContent {
    std::string path;  // as it was given
    std::map<std::string, RegistryValue> values;
};

using RegistryContent = std::map<std::string, RegistryKeyContent>;

enum class Hive { currentUser, localMachine };

// The hive's content; an absent file is an empty hive. Gives an error code. A file that can't be understood reads as
// empty too.
LSTATUS readHive(Hive hive, RegistryContent& content);

// Reads the hive, lets `change` alter it and writes it back, all under the hive's lock. `change` gives an error code;
// nothing is written unless that is ERROR_SUCCESS. A file that couldn't be understood is first kept under another
// name, since its content would be lost. `mirror` then puts what has changed where else it belongs, still under the
// lock, and gives the result; it may be empty.
LSTATUS changeHive(Hive hive, const std::function<LSTATUS(RegistryContent&)>& change,
                   const std::function<LSTATUS()>& mirror = {});

// Whether a name can be kept: the file holds Unicode text, of which a lone surrogate is none.
bool isStorable(const std::string& name);

// The form in which names are compared: all letters in lower case.
std::string foldName(const std::string& name);

}  // namespace win32
