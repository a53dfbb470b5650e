#include "linux/support/directories.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "linux/support/errno_code.h"
#include "win32/error.h"

namespace win32 {

namespace {

constexpr const char* folder = "zelmo-dockset";

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

// Empty for a relative one, which would be another directory for each program of the suite.
std::string directoryIn(const char* variable) {
    std::string path = environment(variable);
    return path.starts_with('/') ? path : std::string();
}

// In a directory that everybody may write, somebody else may have been first with our name.
bool isOursAlone(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return failWithErrno(errno);
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077U) != 0) {
        SetLastError(ERROR_ACCESS_DENIED);
        return false;
    }
    return true;
}

}  // namespace

bool makeDirectories(const std::string& path, unsigned mode) {
    if (mkdir(path.c_str(), mode) == 0 || errno == EEXIST) {
        return true;
    }
    const std::size_t slash = path.rfind('/');
    if (errno != ENOENT || slash == std::string::npos || slash == 0) {
        return failWithErrno(errno);
    }
    if (!makeDirectories(path.substr(0, slash), mode)) {
        return false;
    }
    return mkdir(path.c_str(), mode) == 0 || errno == EEXIST || failWithErrno(errno);
}

std::string machineDirectory(const char* usual) {
#ifdef WIN32_SCRIPTED
    if (std::string other = environment("WIN32_MACHINE_DIRECTORY"); !other.empty()) {
        return other;
    }
#endif
    return usual;
}

std::string sessionDirectory() {
    const std::string runtime = directoryIn("XDG_RUNTIME_DIR");
    std::string path;
    if (!runtime.empty()) {
        path = runtime + "/" + folder;
    } else {
        const std::string temporary = directoryIn("TMPDIR");
        path = (temporary.empty() || temporary == ownTemporaryDirectory() ? "/tmp" : temporary) + "/" + folder + "-" +
               std::to_string(geteuid());
    }
    return makeDirectories(path, 0700) && isOursAlone(path) ? path : std::string();
}

std::string sessionDirectory(const std::string& name) {
    const std::string parent = sessionDirectory();
    if (parent.empty()) {
        return {};
    }
    const std::string path = parent + "/" + name;
    return makeDirectories(path, 0700) ? path : std::string();
}

std::string homeDirectory() {
    std::string home = directoryIn("HOME");
    if (!home.empty()) {
        return home;
    }
    const passwd* const user = getpwuid(geteuid());
    return user == nullptr ? std::string("/") : std::string(user->pw_dir);
}

std::string baseDirectory(const char* variable, const std::string& fallback) {
    const std::string value = directoryIn(variable);
    return value.empty() ? homeDirectory() + "/" + fallback : value;
}

std::string ownTemporaryDirectory() { return baseDirectory("XDG_CACHE_HOME", ".cache") + "/" + folder + "/temporary"; }

}  // namespace win32
