// The user's proxy settings, as one desktop's file and the environment hold them.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "fuzz.h"
#include "linux/network/zdproxy/system_settings.h"
#include "temp_directory.h"

namespace {

// Each proxy is "scheme=host:port", unless the user's own text divides or names the pieces.
void check(const zdproxy::SystemSettings& settings, fuzz::Input input) {
    if (fuzz::textOf(input).find_first_of(";=") != std::string_view::npos) {
        return;
    }
    std::istringstream list(settings.proxies);
    int count = 0;
    for (std::string piece; std::getline(list, piece, ';'); ++count) {
        const std::size_t mark = piece.find('=');
        const std::size_t colon = piece.rfind(':');
        fuzz::require(mark != std::string::npos && colon != std::string::npos && colon > mark, "a proxy has a port");
        fuzz::require(piece.find('/') == std::string::npos, "an address has no path");
    }
    fuzz::require(count <= 3, "one proxy a scheme");
}

}  // namespace

FUZZ_TARGET(proxy_settings) {
    static const tests::TempDirectory directory;
    setenv("XDG_CONFIG_HOME", directory.path().c_str(), 1);
    for (const char* const name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"}) {
        unsetenv(name);
    }
    std::string file = "[Proxy Settings]\n";
    fuzz::Parts values(input);
    for (const char* const key : {"ProxyType", "httpProxy", "httpsProxy", "socksProxy", "NoProxyFor"}) {
        file += key + ("=" + values.text()) + "\n";
    }
    tests::writeFile(directory.file("kioslaverc"), file + values.text());
    setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
    check(zdproxy::readSystemSettings(), input);
    setenv("XDG_CURRENT_DESKTOP", "", 1);
    fuzz::Parts variables(input);
    for (const char* const name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"}) {
        setenv(name, variables.text().c_str(), 1);
    }
    check(zdproxy::readSystemSettings(), input);
}
