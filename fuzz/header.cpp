// The lines of a server's head, and the date in it that goes back to the server with the next request.
#include <map>

#include "fuzz.h"
#include "net/cached_get.h"
#include "net/curl_callbacks.h"

namespace {

struct MemoryCache final : dockset::PlatformCache {
    bool put(const std::string&, const std::vector<std::uint8_t>& data, const std::string& lastModified) override {
        bytes = data;
        date = lastModified;
        return true;
    }
    bool get(const std::string&, std::vector<std::uint8_t>& data, std::string& lastModified) override {
        data = bytes;
        lastModified = date;
        return !bytes.empty();
    }

    std::vector<std::uint8_t> bytes;
    std::string date;
};

bool isOneLine(const std::string& text) { return text.find_first_of("\r\n") == std::string::npos; }

}  // namespace

FUZZ_TARGET(header) {
    static CURL* const curl = curl_easy_init();
    base::HTTPReqInfo request;
    request.curlHandle = curl;
    std::string lines(fuzz::textOf(input));
    for (std::size_t begin = 0; begin < lines.size();) {
        const std::size_t end = std::min(lines.find('\n', begin), lines.size() - 1) + 1;
        const std::size_t taken = base::onHeaderLine(lines.data() + begin, 1, end - begin, &request);
        fuzz::require(taken == end - begin, "no line ends the transfer");
        begin = end;
    }
    for (const auto& [name, value] : request.responseHeaders) {
        fuzz::require(!name.empty() && !value.empty(), "a header has a name and a value");
    }
    MemoryCache cache;
    base::HttpHeaders sent;
    const base::HttpGet get = [&](const std::string&, const base::HttpHeaders& headers, base::HttpHeaders& answered,
                                  base::Bytes& body, bool, const base::CancelWord*, std::string*) -> std::int32_t {
        sent = headers;
        answered = request.responseHeaders;
        body = {1};
        return 200;
    };
    for (int round = 0; round < 2; ++round) {
        base::Bytes data;
        bool fresh = false;
        base::getUrlCached(cache, get, "https://tavrin.test/", data, &fresh, true, true, false, nullptr, nullptr);
    }
    for (const auto& [name, value] : sent) {
        fuzz::require(name == "If-Modified-Since" && isOneLine(value), "one header goes back, on one line");
    }
}
