#include "system_settings.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <vector>

namespace zdproxy {

namespace {

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
    void operator()(GSettings* settings) const { g_object_unref(settings); }
    void operator()(GSettingsSchema* schema) const { g_settings_schema_unref(schema); }
    void operator()(gchar** list) const { g_strfreev(list); }
};
template <typename T>
using Owned = std::unique_ptr<T, GFree>;

std::string textOf(gchar* text) {
    const Owned<gchar> owner(text);
    return text == nullptr ? std::string() : text;
}

std::string variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

std::string firstVariable(std::initializer_list<const char*> names) {
    std::string value;
    for (const char* const name : names) {
        value = value.empty() ? variable(name) : value;
    }
    return value;
}

void append(std::string& list, const std::string& piece) {
    if (!piece.empty()) {
        list += (list.empty() ? "" : ";") + piece;
    }
}

// "http=host:port" for a scheme "http" and a proxy's address, which may lack its scheme and hold a user's name. Empty
// for a proxy that is spoken to over TLS: lists of this form can't say so.
std::string piece(const std::string& scheme, std::string address) {
    std::string proxyScheme = "http";
    if (const auto mark = address.find("://"); mark != std::string::npos) {
        proxyScheme = address.substr(0, mark);
        address.erase(0, mark + 3);
    }
    address.erase(std::min(address.find('/'), address.size()));
    address.erase(0, address.rfind('@') + 1);
    if (const auto blank = address.find(' '); blank != std::string::npos) {
        address[blank] = ':';
    }
    const bool isSocks = proxyScheme.starts_with("socks");
    if (address.empty() || (!isSocks && proxyScheme != "http")) {
        return {};
    }
    const bool hasPort = address.find(':', address.rfind(']') + 1) != std::string::npos;
    return (isSocks ? "socks" : scheme) + "=" + address + (hasPort ? "" : isSocks ? ":1080" : ":80");
}

// Names divided by commas, as in no_proxy.
std::string bypassOf(const std::string& names) {
    std::istringstream stream(names);
    std::string list;
    for (std::string name; std::getline(stream, name, ',');) {
        std::erase(name, ' ');
        append(list, name.starts_with('.') ? "*" + name : name);
    }
    return list;
}

SystemSettings fromEnvironment() {
    SystemSettings settings;
    const std::string all = firstVariable({"all_proxy", "ALL_PROXY"});
    const std::string plain = firstVariable({"http_proxy", "HTTP_PROXY"});
    const std::string secure = firstVariable({"https_proxy", "HTTPS_PROXY"});
    append(settings.proxies, piece("http", plain.empty() ? all : plain));
    append(settings.proxies, piece("https", secure.empty() ? all : secure));
    settings.bypass = bypassOf(firstVariable({"no_proxy", "NO_PROXY"}));
    return settings;
}

std::string gnomeProxy(GSettings* settings, const std::string& scheme) {
    const Owned<GSettings> child(g_settings_get_child(settings, scheme.c_str()));
    const std::string host = textOf(g_settings_get_string(child.get(), "host"));
    const int port = g_settings_get_int(child.get(), "port");
    return host.empty() || port == 0 ? std::string() : piece(scheme, host + ":" + std::to_string(port));
}

std::optional<SystemSettings> fromGnome() {
    constexpr const char* name = "org.gnome.system.proxy";
    GSettingsSchemaSource* const source = g_settings_schema_source_get_default();
    const Owned<GSettingsSchema> schema(source == nullptr ? nullptr
                                                          : g_settings_schema_source_lookup(source, name, TRUE));
    if (!schema) {
        return std::nullopt;
    }
    const Owned<GSettings> stored(g_settings_new(name));
    const std::string mode = textOf(g_settings_get_string(stored.get(), "mode"));
    SystemSettings settings;
    if (mode == "auto") {
        settings.script = textOf(g_settings_get_string(stored.get(), "autoconfig-url"));
        settings.autoDetect = settings.script.empty();
    } else if (mode == "manual") {
        for (const char* const scheme : {"http", "https", "socks"}) {
            append(settings.proxies, gnomeProxy(stored.get(), scheme));
        }
        const Owned<gchar*> ignored(g_settings_get_strv(stored.get(), "ignore-hosts"));
        settings.bypass = bypassOf(textOf(g_strjoinv(",", ignored.get())));
    }
    return settings;
}

std::optional<SystemSettings> fromKde() {
    const Owned<GKeyFile> file(g_key_file_new());
    const std::string path = std::string(g_get_user_config_dir()) + "/kioslaverc";
    if (g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr) == FALSE) {
        return std::nullopt;
    }
    const auto value = [&](const char* key) {
        return textOf(g_key_file_get_string(file.get(), "Proxy Settings", key, nullptr));
    };
    const std::string type = value("ProxyType");
    SystemSettings settings;
    if (type == "1") {
        append(settings.proxies, piece("http", value("httpProxy")));
        append(settings.proxies, piece("https", value("httpsProxy")));
        append(settings.proxies, piece("socks", value("socksProxy")));
        settings.bypass = bypassOf(value("NoProxyFor"));
    } else if (type == "2") {
        settings.script = value("Proxy Config Script");
    } else if (type == "4") {
        return std::nullopt;  // it names variables of the environment
    }
    settings.autoDetect = type == "3";
    return settings;
}

}  // namespace

SystemSettings readSystemSettings() {
    constexpr std::array<std::string_view, 7> gnomes = {"GNOME", "Unity",  "X-Cinnamon", "Cinnamon",
                                                        "MATE",  "Budgie", "Pantheon"};
    std::istringstream desktops(variable("XDG_CURRENT_DESKTOP"));
    for (std::string desktop; std::getline(desktops, desktop, ':');) {
        std::optional<SystemSettings> settings;
        if (desktop == "KDE") {
            settings = fromKde();
        } else if (std::find(gnomes.begin(), gnomes.end(), desktop) != gnomes.end()) {
            settings = fromGnome();
        }
        if (settings) {
            return *settings;
        }
    }
    return fromEnvironment();
}

}  // namespace zdproxy
