#include "linux/support/environment.h"

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>

#include "linux/support/directories.h"

namespace win32 {

namespace {

using Variables = std::vector<std::pair<const char*, std::string>>;

Variables takeProxyVariables() {
    Variables taken;
    for (const char* const name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        if (const char* const value = std::getenv(name)) {
            taken.emplace_back(name, value);
            unsetenv(name);
        }
    }
    return taken;
}

// Whether it did.
bool takeOwnTemporaryDirectory() {
    for (const char* const name : {"TMPDIR", "TMP", "TEMP", "TEMPDIR"}) {
        if (const char* const value = std::getenv(name); value != nullptr && *value != 0) {
            return false;
        }
    }
    const std::string path = ownTemporaryDirectory();
    return makeDirectories(path, 0700) && setenv("TMPDIR", path.c_str(), 1) == 0;
}

// Never destroyed: threads that end in static destructors still start programs.
const Variables& savedVariables = *new Variables(takeProxyVariables());
const bool hasOwnTemporaryDirectory = takeOwnTemporaryDirectory();

}  // namespace

std::vector<std::string> childEnvironment() {
    const std::string own = "TMPDIR=" + ownTemporaryDirectory();
    std::vector<std::string> variables;
    for (char** each = environ; *each != nullptr; ++each) {
        if (!hasOwnTemporaryDirectory || *each != own) {
            variables.emplace_back(*each);
        }
    }
    for (const auto& [name, value] : savedVariables) {
        if (std::getenv(name) == nullptr) {
            variables.push_back(std::string(name) + "=" + value);
        }
    }
    return variables;
}

}  // namespace win32
