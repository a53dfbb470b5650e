#include "script_lookup.h"

#include <curl/curl.h>
#include <proxy.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>

#include "win32/proxy.h"

namespace zdproxy {

namespace {

constexpr std::size_t longestScript = 1 << 20;

// Ends the script. The library gives a script that fails the same answer as one that says DIRECT; with this, the answer
// of a script that works begins with a proxy of ours. It also takes the blanks round entries for such a failure. The
// blank line closes a comment at the script's end.
constexpr const char* mark = "http://found.invalid:1";
constexpr const char* scriptEnd = R"(
;(function () {
    var find = FindProxyForURL;
    FindProxyForURL = function (url, host) {
        var found = find(url, host);
        if (typeof found !== 'string') { throw new TypeError('no string'); }
        return 'PROXY found.invalid:1;' + found.replace(/\s+/g, ' ').replace(/ ?;[ ;]*/g, ';').trim();
    };
})();
)";

std::size_t append(char* bytes, std::size_t size, std::size_t count, void* text) {
    auto& script = *static_cast<std::string*>(text);
    if (script.size() + size * count > longestScript) {
        return 0;
    }
    script.append(bytes, size * count);
    return size * count;
}

DWORD codeOf(CURLcode result, long status, bool isFile) {
    if (result == CURLE_UNSUPPORTED_PROTOCOL || result == CURLE_URL_MALFORMAT) {
        return ERROR_WINHTTP_UNRECOGNIZED_SCHEME;
    }
    if (result == CURLE_OK && (status == 401 || status == 407)) {
        return ERROR_WINHTTP_LOGIN_FAILURE;
    }
    return result == CURLE_OK && (status == 200 || isFile) ? ERROR_SUCCESS : ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT;
}

DWORD load(const std::string& address, const std::string& userAgent, bool logon, std::string& script) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    if (!curl) {
        return ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT;
    }
    curl_easy_setopt(curl.get(), CURLOPT_URL, address.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_PROTOCOLS_STR, "http,https,file");
    curl_easy_setopt(curl.get(), CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl.get(), CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(curl.get(), CURLOPT_USERAGENT, userAgent.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &script);
    if (logon) {
        curl_easy_setopt(curl.get(), CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_NEGOTIATE));
        curl_easy_setopt(curl.get(), CURLOPT_USERPWD, ":");
    }
    const CURLcode result = curl_easy_perform(curl.get());
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    return codeOf(result, status, address.starts_with("file:"));
}

// Nothing but the script is to decide.
void useOnlyScript(const std::string& path) {
    for (const char* const name : {"XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION",
                                   "GNOME_DESKTOP_SESSION_ID", "no_proxy", "NO_PROXY"}) {
        unsetenv(name);
    }
    for (const char* const name : {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy"}) {
        setenv(name, ("pac+file://" + path).c_str(), 1);
    }
}

// The entries before the first DIRECT, HTTP proxies alone.
Lookup listOf(char** entries) {
    Lookup lookup;
    for (; *entries != nullptr && std::string_view(*entries) != "direct://"; ++entries) {
        constexpr std::string_view scheme = "http://";
        std::string_view entry = *entries;
        if (!entry.starts_with(scheme)) {
            continue;
        }
        entry.remove_prefix(scheme.size());
        const bool hasPort = entry.find(':', entry.rfind(']') + 1) != std::string_view::npos;
        lookup.proxies.append(lookup.proxies.empty() ? "" : ";").append(entry).append(hasPort ? "" : ":80");
    }
    return lookup;
}

struct FreeEntries {
    void operator()(char** entries) const { px_proxy_factory_free_proxies(entries); }
};

// The library puts the address between quotation marks of the script's language as it stands.
std::string quotable(const std::string& url) {
    std::string text;
    for (const char c : url) {
        text += c == '"' ? "%22" : c == '\\' ? "%5C" : std::string(1, c);
    }
    return text;
}

Lookup run(std::string script, const std::string& url) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    script.erase(0, script.starts_with(byteOrderMark) ? byteOrderMark.size() : 0);
    script += scriptEnd;
    const int file = memfd_create("script", MFD_CLOEXEC);
    if (file < 0 || write(file, script.data(), script.size()) != static_cast<ssize_t>(script.size())) {
        return {ERROR_NOT_ENOUGH_MEMORY, {}};
    }
    useOnlyScript("/proc/self/fd/" + std::to_string(file));
    // Never freed: that would unload the script engine from under its own threads.
    pxProxyFactory* const factory = px_proxy_factory_new();
    const std::unique_ptr<char*, FreeEntries> entries(px_proxy_factory_get_proxies(factory, quotable(url).c_str()));
    const bool hasWorked = entries && *entries != nullptr && std::string_view(*entries) == mark;
    return hasWorked ? listOf(entries.get() + 1) : Lookup{ERROR_WINHTTP_BAD_AUTO_PROXY_SCRIPT, {}};
}

}  // namespace

Lookup runProxyScript(const std::string& script, const std::string& url, const std::string& userAgent, bool logon) {
    std::string text;
    const DWORD code = load(script, userAgent, logon, text);
    return code == ERROR_SUCCESS ? run(std::move(text), url) : Lookup{code, {}};
}

Lookup detectProxies(const std::string& url, const std::string& userAgent, bool logon) {
    Lookup lookup = runProxyScript("http://wpad/wpad.dat", url, userAgent, logon);
    if (lookup.code == ERROR_WINHTTP_UNABLE_TO_DOWNLOAD_SCRIPT) {
        lookup.code = ERROR_WINHTTP_AUTODETECTION_FAILED;
    }
    return lookup;
}

}  // namespace zdproxy
