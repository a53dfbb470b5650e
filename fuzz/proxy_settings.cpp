// The user's proxy settings, as one desktop's file and the environment hold them.
#include <cstdlib>

#include "fuzz.h"
#include "linux/network/zdproxy/system_settings.h"
#include "net/proxy_list.h"
#include "temp_directory.h"

namespace {

void check(const zdproxy::SystemSettings& settings, const char* why) {
    base::SeenProxies seen;
    std::vector<base::ProxyEntry> proxies;
    base::addProxyList(seen, proxies, base::widen(settings.proxies));
    fuzz::require(settings.proxies.find(";;") == std::string::npos && !settings.proxies.starts_with(';'), why);
}

}  // namespace

FUZZ_TARGET(proxy_settings) {
    static const tests::TempDirectory directory;
    static const bool isSet = setenv("XDG_CONFIG_HOME", directory.path().c_str(), 1) == 0;
    fuzz::require(isSet, "the file is the target's own");
    tests::writeFile(directory.file("kioslaverc"), std::string(fuzz::textOf(input)));
    setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
    check(zdproxy::readSystemSettings(), "no empty piece from the file");
    fuzz::Parts parts(input);
    setenv("http_proxy", parts.text().c_str(), 1);
    setenv("https_proxy", parts.text().c_str(), 1);
    setenv("no_proxy", parts.text().c_str(), 1);
    setenv("XDG_CURRENT_DESKTOP", "", 1);
    zdproxy::readSystemSettings();
}
