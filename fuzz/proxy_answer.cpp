// The answers of the program that looks up proxies: only what it can have written is taken.
#include "fuzz.h"
#include "linux/network/proxy_helper.h"
#include "win32/proxy.h"

FUZZ_TARGET(proxy_answer) {
    fuzz::Parts parts(input);
    const std::size_t lines = parts.byte() % 2 == 0 ? 1 : 4;
    const std::string text(parts.rest());
    const win32::ProxyHelperReply reply = win32::parseProxyReply(text, lines);
    if (reply.code != 0) {
        fuzz::require(reply.lines.empty(), "a failure has no lines");
        return;
    }
    fuzz::require(reply.lines.size() == lines, "as many lines as were asked for");
    std::string written = text.substr(0, text.find('\n') + 1);
    for (const std::string& line : reply.lines) {
        written += line + "\n";
    }
    fuzz::require(written + "end\n" == text, "nothing else stands in it");
}
