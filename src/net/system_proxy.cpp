#include "net/system_proxy.h"

#include <utility>

#include "base/log_receiver.h"
#include "net/proxy_list.h"
#include "net/servers.h"
#include "win32/proxy.h"
#include "win32/resource.h"

namespace base {

namespace {

// What the two users of a discovery want differently.
struct Manner {
    const char* defaultScheme;    // of the address that is asked about in place of an empty one
    bool scriptNeedsDetection;    // a script is run only where auto-detection is on too
    bool successCountsAsFinding;  // for the diagnostics; else only a text does
};

constexpr Manner agentManner{"https://", false, false};
constexpr Manner updateEngineManner{"http://", true, true};

// The text that an operation handed out, which is then freed.
WideString take(LPWSTR text) {
    if (text == nullptr) {
        return {};
    }
    WideString taken = text;
    GlobalFree(text);
    return taken;
}

void log(const std::string& text, DWORD error) { logMessage("getProxySettings", text + std::to_string(error)); }

char letter(bool value) { return value ? 'y' : 'n'; }

class Session {
public:
    Session(ProxySessions& all, const WideString& userAgent) : all_(all), handle_(all.open(userAgent)) {}
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session() { all_.close(handle_); }
    HINTERNET get() const { return handle_; }

private:
    ProxySessions& all_;
    const HINTERNET handle_;
};

// One discovery.
class Discovery {
public:
    Discovery(const Manner& manner, const std::string& url)
        : manner_(manner),
          url_(widenBytes(url.empty() ? std::string(manner.defaultScheme) + softwareServerHost + "/" : url)) {}

    void run(ProxySessions& sessions, const std::string& userAgent);
    const std::string& diagnostics() const { return diagnostics_; }
    std::vector<ProxyEntry> takeResult() { return std::move(result_); }

private:
    enum class Type { Script = 0, Detection = 1 };

    void readSettings();
    void noteScript();
    void lookUp(HINTERNET session);
    void lookUp(HINTERNET session, Type type);
    bool lookUp(HINTERNET session, WINHTTP_AUTOPROXY_OPTIONS& options);

    const Manner& manner_;
    const WideString url_;
    bool isDetecting_ = true;
    WideString script_;
    WideString list_;
    bool hasFound_ = false;
    SeenProxies seenProxies_;
    std::vector<ProxyEntry> result_;
    std::string diagnostics_;
};

void Discovery::run(ProxySessions& sessions, const std::string& userAgent) {
    const Session session(sessions, widenBytes(userAgent));
    if (session.get() == nullptr) {
        log("WinHttpOpen ", GetLastError());
        diagnostics_ = "e.....";
        return;
    }
    diagnostics_ = ".";
    readSettings();
    noteScript();
    if (isDetecting_ || (!script_.empty() && !manner_.scriptNeedsDetection)) {
        lookUp(session.get());
    } else {
        diagnostics_ += '.';
    }
    addProxyList(seenProxies_, result_, list_);
}

void Discovery::readSettings() {
    WINHTTP_CURRENT_USER_IE_PROXY_CONFIG config{};
    if (WinHttpGetIEProxyConfigForCurrentUser(&config) == FALSE) {
        log("WinHttpGetIEProxyConfigForCurrentUser ", GetLastError());
        diagnostics_ += "e..";
        return;
    }
    isDetecting_ = config.fAutoDetect != FALSE;
    script_ = take(config.lpszAutoConfigUrl);
    list_ = take(config.lpszProxy);
    take(config.lpszProxyBypass);
    diagnostics_ += letter(isDetecting_);
    diagnostics_ += letter(!script_.empty());
    diagnostics_ += letter(!list_.empty());
}

void Discovery::noteScript() {
    if (script_.empty()) {
        diagnostics_ += '.';
    } else if (isPlain(script_)) {
        result_.push_back({{"autoConfigScript", narrow(script_)}});
        diagnostics_ += 'y';
    } else {
        diagnostics_ += 'e';
    }
}

void Discovery::lookUp(HINTERNET session) {
    if (!script_.empty()) {
        lookUp(session, Type::Script);
    }
    lookUp(session, Type::Detection);
    diagnostics_ += hasFound_ ? letter(!seenProxies_.empty()) : 'e';
}

void Discovery::lookUp(HINTERNET session, Type type) {
    WINHTTP_AUTOPROXY_OPTIONS options{};
    if (type == Type::Script) {
        options.dwFlags = WINHTTP_AUTOPROXY_CONFIG_URL;
        options.lpszAutoConfigUrl = script_.c_str();
    } else {
        options.dwFlags = WINHTTP_AUTOPROXY_AUTO_DETECT;
        options.dwAutoDetectFlags = WINHTTP_AUTO_DETECT_TYPE_DHCP | WINHTTP_AUTO_DETECT_TYPE_DNS_A;
    }
    if (lookUp(session, options)) {
        return;
    }
    const DWORD error = GetLastError();
    const std::string typeText = "type " + std::to_string(static_cast<int>(type)) + ", ";
    if (error == ERROR_WINHTTP_LOGIN_FAILURE) {
        logMessage("getProxySettings", "WinHttpGetProxyForURL " + typeText + "ERROR_WINHTTP_LOGIN_FAILURE, will retry");
        options.fAutoLogonIfChallenged = TRUE;
        if (!lookUp(session, options)) {
            log("WinHttpGetProxyForURL (auto-logon) " + typeText, GetLastError());
        }
    } else if (type == Type::Script) {
        log("WinHttpGetProxyForURL " + typeText, error);
    }
}

bool Discovery::lookUp(HINTERNET session, WINHTTP_AUTOPROXY_OPTIONS& options) {
    WINHTTP_PROXY_INFO info{};
    if (WinHttpGetProxyForUrl(session, url_.c_str(), &options, &info) == FALSE) {
        return false;
    }
    const WideString found = take(info.lpszProxy);
    take(info.lpszProxyBypass);
    hasFound_ = hasFound_ || manner_.successCountsAsFinding || !found.empty();
    addProxyList(seenProxies_, result_, found);
    return true;
}

std::vector<ProxyEntry> discover(ProxySessions& sessions, const Manner& manner, const std::string& url,
                                 const std::string& userAgent, std::string* diagnostics) {
    Discovery discovery(manner, url);
    discovery.run(sessions, userAgent);
    if (diagnostics != nullptr) {
        *diagnostics = discovery.diagnostics();
    }
    return discovery.takeResult();
}

}  // namespace

void* ProxySessions::open(const WideString& userAgent) {
    const std::lock_guard lock(mutex_);
    if (ended_) {
        SetLastError(ERROR_WINHTTP_OPERATION_CANCELLED);
        return nullptr;
    }
    const HINTERNET session = WinHttpOpen(userAgent.c_str(), WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME,
                                          WINHTTP_NO_PROXY_BYPASS, WINHTTP_FLAG_ASYNC);
    if (session != nullptr) {
        open_.insert(session);
    }
    return session;
}

void ProxySessions::close(void* session) {
    const std::lock_guard lock(mutex_);
    if (open_.erase(session) != 0) {
        WinHttpCloseHandle(session);
    }
}

void ProxySessions::end() {
    const std::lock_guard lock(mutex_);
    ended_ = true;
    for (void* const session : open_) {
        WinHttpCloseHandle(session);
    }
    open_.clear();
}

std::vector<ProxyEntry> SystemProxyDiscovery::getProxySettings(const std::string& url, const std::string& userAgent,
                                                               std::string* diagnostics) {
    return discover(sessions_, agentManner, url, userAgent, diagnostics);
}

std::vector<ProxyEntry> getUEProxySettings(const std::string& url, std::string* diagnostics) {
    ProxySessions sessions;
    return discover(sessions, updateEngineManner, url, "Zelmo Dockset", diagnostics);
}

}  // namespace base
