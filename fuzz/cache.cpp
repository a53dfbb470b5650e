// The index of the cache: it leads to no file outside of the cache's directory, and no damage to it stops the cache.
#include "cache/file_cache.h"

#include "data/json_value.h"
#include "fuzz.h"
#include "net/cached_get.h"
#include "temp_session.h"

namespace {

namespace fs = boost::filesystem;

constexpr const char* secret = "secret";  // of six bytes, as the index may claim
constexpr const char* inside = "inside";
const base::Bytes fresh{1, 2};

void prepare(const tests::TempSession& session, fuzz::Input index) {
    fs::remove_all(session.file("cache"));
    session.write("cache/a", inside);
    session.write("cache/b/c", secret);
    session.write("secret", secret);
    session.write("file_cache_content.json", std::string(fuzz::textOf(index)));
}

std::vector<std::string> identifiersIn(fuzz::Input index) {
    const data::Value tree = data::parseJson(index.data(), index.size());
    std::vector<std::string> identifiers;
    for (const data::Value& item : tree.find("cached_items").items) {
        identifiers.push_back(item.find("identifier").text);
    }
    return identifiers;
}

void checkRequest(dockset::PlatformCache& cache, const std::string& identifier) {
    const base::HttpGet get = [](const std::string&, const base::HttpHeaders& headers, base::HttpHeaders&, base::Bytes&,
                                 bool, const base::CancelWord*, std::string*) -> std::int32_t {
        for (const auto& [name, value] : headers) {
            fuzz::require(value.find_first_of("\r\n") == std::string::npos, "a date adds no header to a request");
        }
        return 304;
    };
    base::Bytes bytes;
    bool isFresh = false;
    base::getUrlCached(cache, get, identifier, bytes, &isFresh, true, true, false, nullptr, nullptr);
}

}  // namespace

FUZZ_TARGET(cache) {
    static const tests::TempSession session;
    static base::PlatformCacheHandler cache;
    prepare(session, input);
    std::vector<std::uint8_t> bytes;
    std::string date;
    for (const std::string& identifier : identifiersIn(input)) {
        if (cache.get(identifier, bytes, date)) {
            fuzz::require(bytes == tests::bytesOf(inside) || bytes == fresh, "nothing is read from outside");
            checkRequest(cache, identifier);
            fuzz::require(cache.put(identifier, fresh, "date"), "what is there can be replaced");
        }
    }
    fuzz::require(session.read("secret") == secret && session.read("cache/b/c") == secret,
                  "nothing is written outside");
    fuzz::require(cache.put("new", {1, 2, 3}, "date"), "a damaged index takes new entries");
    fuzz::require(cache.get("new", bytes, date) && bytes.size() == 3 && date == "date", "and has them");
}
