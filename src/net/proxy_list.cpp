#include "net/proxy_list.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace base {

namespace {

std::vector<WideView> split(WideView text) {
    std::vector<WideView> pieces;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(WCHAR{';'}, begin), text.size());
        if (end > begin) {
            pieces.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
    return pieces;
}

// 0 for what isn't a number. Blanks and a sign before the digits and anything behind them don't matter, as ever with
// a stream.
std::uint32_t readPort(WideView text) {
    std::istringstream stream(narrow(text));
    std::uint32_t port = 0;
    stream >> port;
    return stream.fail() ? 0 : port;
}

}  // namespace

bool isPlain(WideView text) {
    return std::all_of(text.begin(), text.end(), [](WCHAR c) { return c >= 33 && c <= 126; });
}

void addProxyList(SeenProxies& seenProxies, std::vector<ProxyEntry>& result, WideView list) {
    std::vector<WideString> plain;
    std::multimap<WideString, WideString> byScheme;
    for (const WideView piece : split(list)) {
        const std::size_t mark = piece.find(WCHAR{'='});
        if (mark == WideView::npos || (mark == 0 && piece.size() > 1)) {
            plain.emplace_back(piece);
        } else if (mark + 1 < piece.size()) {
            byScheme.emplace(toLower(piece.substr(0, mark)), toLower(piece.substr(mark + 1)));
        }
    }
    for (const WideString& token : plain) {
        addProxyToken(seenProxies, result, token);
    }
    for (const WideString& scheme : {WideString(W("http")), WideString(W("https"))}) {
        const auto [begin, end] = byScheme.equal_range(scheme);
        for (auto each = begin; each != end; ++each) {
            addProxyToken(seenProxies, result, each->second);
        }
    }
}

void addProxyToken(SeenProxies& seenProxies, std::vector<ProxyEntry>& result, WideView token) {
    constexpr std::uint32_t usualPort = 8080;
    const std::size_t colon = token.find(WCHAR{':'});
    const bool hasPort = colon != WideView::npos && colon + 1 < token.size();
    addProxy(seenProxies, result, token.substr(0, colon), hasPort ? readPort(token.substr(colon + 1)) : usualPort);
}

void addProxy(SeenProxies& seenProxies, std::vector<ProxyEntry>& result, WideView host, std::uint32_t port) {
    if (host.empty() || port < 1 || port > 65535 || !isPlain(host)) {
        return;
    }
    const std::string address = narrow(host);
    const std::string portText = std::to_string(port);
    if (seenProxies.insert(address + ":" + portText).second) {
        result.push_back({{"address", address}, {"port", portText}});
    }
}

}  // namespace base
