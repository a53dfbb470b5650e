#include "linux/support/environment.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

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

// Never destroyed: threads that end in static destructors still start programs.
const Variables& savedVariables = *new Variables(takeProxyVariables());

}  // namespace

std::vector<std::string> childEnvironment() {
    std::vector<std::string> variables;
    for (char** each = environ; *each != nullptr; ++each) {
        variables.emplace_back(*each);
    }
    for (const auto& [name, value] : savedVariables) {
        if (std::getenv(name) == nullptr) {
            variables.push_back(std::string(name) + "=" + value);
        }
    }
    return variables;
}

}  // namespace win32
