// A hive of the registry as it lies on the disk.
#pragma once

#include <functional>

#include "linux/registry/registry_text.h"

namespace win32 {

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

}  // namespace win32
