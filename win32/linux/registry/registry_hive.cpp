#include "linux/registry/registry_hive.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "linux/support/descriptor.h"
#include "linux/support/directories.h"
#include "linux/support/errno_code.h"
#include "linux/support/whole_file.h"
#include "win32/error.h"

namespace win32 {

namespace {

LSTATUS errnoStatus() { return static_cast<LSTATUS>(codeOfErrno(errno)); }

std::string hiveDirectory(Hive hive) {
    return hive == Hive::currentUser ? baseDirectory("XDG_CONFIG_HOME", ".config") + "/zelmo-dockset"
                                     : machineDirectory("/etc/zelmo-dockset");
}

std::string hivePath(Hive hive) {
    return hiveDirectory(hive) + (hive == Hive::currentUser ? "/current_user.json" : "/local_machine.json");
}

LSTATUS read(Hive hive, RegistryContent& content, bool& understood) {
    understood = true;
    const auto text = readWholeFile(hivePath(hive));
    if (!text) {
        return errno == ENOENT || errno == ENOTDIR ? ERROR_SUCCESS : errnoStatus();
    }
    understood = parseHive(*text, content);
    return ERROR_SUCCESS;
}

}  // namespace

LSTATUS readHive(Hive hive, RegistryContent& content) {
    bool understood = false;
    return read(hive, content, understood);
}

LSTATUS changeHive(Hive hive, const std::function<LSTATUS(RegistryContent&)>& change,
                   const std::function<LSTATUS()>& mirror) {
    if (!makeDirectories(hiveDirectory(hive), 0755)) {
        return static_cast<LSTATUS>(GetLastError());
    }
    const Descriptor lock(open((hivePath(hive) + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644));
    if (!lock || flock(lock.get(), LOCK_EX) != 0) {
        return errnoStatus();
    }
    RegistryContent content;
    bool understood = false;
    LSTATUS status = read(hive, content, understood);
    const std::string before = hiveText(content);
    status = status == ERROR_SUCCESS ? change(content) : status;
    const std::string after = hiveText(content);
    // What stands there already isn't worth a trip to the disk.
    if (status == ERROR_SUCCESS && !(understood && after == before)) {
        const std::string path = hivePath(hive);
        if (!understood) {
            std::rename(path.c_str(), (path + ".damaged").c_str());
        }
        status = replaceWholeFile(path, after) ? ERROR_SUCCESS : errnoStatus();
    }
    return status == ERROR_SUCCESS && mirror ? mirror() : status;
}

}  // namespace win32
