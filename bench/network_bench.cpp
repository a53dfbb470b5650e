// What requests, the cache and the device lists cost, each beside the bare work of the libraries under them. The server
// is BENCH_SERVER (an https address), and BENCH_KEYS the directory of the keys that it must show.
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <malloc.h>

#include <boost/filesystem/path.hpp>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "../tests/temp_session.h"
#include "base/directories.h"
#include "base/paths.h"
#include "cache/file_cache.h"
#include "data/json_value.h"
#include "data/whole_file.h"
#include "data/xml_value.h"
#include "device/device_filter_handler.h"
#include "net/cached_get.h"
#include "net/http_handler.h"
#include "net/http_provider.h"
#include "net/installed_pins.h"
#include "net/perform_request.h"

namespace {

constexpr const char* lastModified = "Mon, 01 Jan 2024 00:00:00 GMT";

std::string serverUrl(const std::string& path) {
    const char* const server = std::getenv("BENCH_SERVER");
    return std::string(server == nullptr ? "https://none.invalid" : server) + path;
}

std::shared_ptr<base::InstalledPins> publishPins() {
    const char* const keys = std::getenv("BENCH_KEYS");
    static const auto pins = std::make_shared<base::InstalledPins>(keys == nullptr ? "." : keys);
    base::certificatePins().publish(pins);
    return pins;
}

base::HttpGet transport() {
    return [](const std::string& url, const base::HttpHeaders& headers, base::HttpHeaders& responseHeaders,
              base::Bytes& response, bool noPinning, const base::CancelWord* cancelFlag, std::string* detail) {
        return base::runHttpRequest("GET", url, {}, headers, responseHeaders, response, noPinning, cancelFlag, detail);
    };
}

std::size_t keep(char* bytes, std::size_t size, std::size_t count, void* target) {
    static_cast<std::vector<char>*>(target)->insert(static_cast<std::vector<char>*>(target)->end(), bytes,
                                                    bytes + size * count);
    return size * count;
}

void bareRequest(benchmark::State& state, const char* path, const char* condition) {
    curl_global_init(CURL_GLOBAL_ALL);
    const std::string url = serverUrl(path);
    for (auto _ : state) {
        std::vector<char> body;
        CURL* const handle = curl_easy_init();
        curl_slist* headers = condition == nullptr ? nullptr : curl_slist_append(nullptr, condition);
        curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, keep);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
        if (curl_easy_perform(handle) != CURLE_OK) {
            state.SkipWithError("no answer");
        }
        curl_slist_free_all(headers);
        curl_easy_cleanup(handle);
        benchmark::DoNotOptimize(body);
    }
}

void cachedRequest(benchmark::State& state, bool isKnown) {
    const tests::TempSession session;
    const auto pins = publishPins();
    base::PlatformCacheHandler cache;
    const std::string url = serverUrl("/list-1mb");
    const auto get = [&] {
        base::Bytes data;
        bool fresh = false;
        base::getUrlCached(cache, transport(), url, data, &fresh, true, true, false, nullptr, nullptr);
        return fresh && !data.empty();
    };
    if (isKnown && !get()) {
        state.SkipWithError("no answer");
    }
    for (auto _ : state) {
        if (!isKnown) {
            state.PauseTiming();
            cache.put(url, {0}, "");  // the answer's own date would make the next one a 304
            state.ResumeTiming();
        }
        if (!get()) {
            state.SkipWithError("no answer");
        }
    }
}

void netBare200(benchmark::State& state) { bareRequest(state, "/list-1mb", nullptr); }
void netBare304(benchmark::State& state) {
    static const std::string condition = std::string("If-Modified-Since: ") + lastModified;
    bareRequest(state, "/list-1mb", condition.c_str());
}
void netCached200(benchmark::State& state) { cachedRequest(state, false); }
void netCached304(benchmark::State& state) { cachedRequest(state, true); }
BENCHMARK(netBare200)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(netCached200)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(netBare304)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(netCached304)->Unit(benchmark::kMillisecond)->UseRealTime();

void request(benchmark::State& state, bool noPinning) {
    const tests::TempSession session;
    const auto pins = publishPins();
    const std::string url = serverUrl("/nothing");
    for (auto _ : state) {
        base::HttpHeaders headers;
        base::Bytes response;
        if (base::runHttpRequest("GET", url, {}, {}, headers, response, noPinning, nullptr, nullptr) != 200) {
            state.SkipWithError("no answer");
        }
    }
}

void netPinned(benchmark::State& state) { request(state, false); }
void netUnpinned(benchmark::State& state) { request(state, true); }
BENCHMARK(netPinned)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(netUnpinned)->Unit(benchmark::kMillisecond)->UseRealTime();

// A cache with as many entries as the benchmark's argument says, of 100 bytes each.
class FilledCache {
public:
    explicit FilledCache(const benchmark::State& state) {
        const std::vector<std::uint8_t> bytes(100, 'x');
        data::Value items(data::ValueType::Array);
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            data::Value item(data::ValueType::Object);
            const std::string name = "0123456789abcdef0123456789abcdef" + std::to_string(10'000'000 + i);
            item.set("identifier", url(i));
            item.set("name", name);
            item.set("last_modified", lastModified);
            item.set("file_size", bytes.size());
            items.append(std::move(item));
            write(base::applicationDirectory(base::ApplicationSupport) / "cache" / name, bytes);
        }
        data::Value index(data::ValueType::Object);
        index.set("cached_items", std::move(items));
        write(indexPath(), data::toJsonBytes(index));
    }
    static std::string url(std::int64_t number) {
        return "https://download.example/production/zd/data/" + std::to_string(number);
    }
    static boost::filesystem::path indexPath() {
        return base::applicationDirectory(base::ApplicationSupport) / "file_cache_content.json";
    }

private:
    static void write(const boost::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
        std::ofstream(path.string())
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }

    tests::TempSession session_;

public:
    base::PlatformCacheHandler cache;
};

void cacheIndex(benchmark::State& state) {
    const FilledCache filled(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(data::readJsonFile(base::widePath(FilledCache::indexPath())));
    }
}

void cacheGet(benchmark::State& state) {
    FilledCache filled(state);
    std::vector<std::uint8_t> bytes;
    std::string date;
    for (auto _ : state) {
        benchmark::DoNotOptimize(filled.cache.get(FilledCache::url(3), bytes, date));
    }
}

void cachePut(benchmark::State& state) {
    FilledCache filled(state);
    const std::vector<std::uint8_t> bytes(100, 'y');
    for (auto _ : state) {
        benchmark::DoNotOptimize(filled.cache.put(FilledCache::url(3), bytes, lastModified));
    }
}
BENCHMARK(cacheIndex)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(cacheGet)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(cachePut)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond)->UseRealTime();

// Gives the list that the server has, by the pipeline and a cache.
class Downloads final : public base::GlobalHttpHandler {
public:
    bool getUrlCached(const std::string& url, base::Bytes& data, bool* fresh, bool useCache, bool keepStale,
                      bool noPinning, const base::CancelWord* cancelFlag, std::string* detail) override {
        return base::getUrlCached(cache_, transport(), url, data, fresh, useCache, keepStale, noPinning, cancelFlag,
                                  detail);
    }
    bool postUrl(const std::string&, const base::Bytes&, base::Bytes&, bool, const base::CancelWord*) override {
        return false;
    }
    std::int32_t httpPost(const std::string&, const base::HttpHeaders&, const base::Bytes&, base::HttpHeaders&,
                          base::Bytes&, bool, const base::CancelWord*) override {
        return -2;
    }
    std::int32_t httpPut(const std::string&, const base::HttpHeaders&, const base::Bytes&, base::HttpHeaders&,
                         base::Bytes&, bool, const base::CancelWord*) override {
        return -2;
    }
    std::int32_t httpGet(const std::string&, const base::HttpHeaders&, base::HttpHeaders&, base::Bytes&, bool,
                         const base::CancelWord*, std::string*) override {
        return -2;
    }
    std::int32_t httpDelete(const std::string&, const base::HttpHeaders&, base::HttpHeaders&, base::Bytes&, bool,
                            const base::CancelWord*) override {
        return -2;
    }
    std::shared_ptr<base::PlatformHttpProvider> httpProvider() override { return nullptr; }

private:
    base::PlatformCacheHandler cache_;
};

bool matchesTenPhones(const std::vector<device::SupportedDevice>& list) {
    bool any = false;
    for (std::uint32_t phone = 0; phone < 10; ++phone) {
        any |= device::deviceMatchesFilter(list, 0x18D1, phone);
    }
    return any;
}

void listPass(benchmark::State& state) {
    const tests::TempSession session;
    const auto pins = publishPins();
    const auto downloads = std::make_shared<Downloads>();
    base::globalHttpHandler().publish(downloads);
    device::setDownloadBaseUrl(serverUrl(""));
    device::DeviceFilterHandler handler;
    for (auto _ : state) {
        device::DeviceListStatus status;
        auto text = device::fetchDeviceList(device::DeviceListKind::Supported, status, nullptr);
        handler.replaceSupported(text.tree ? *text.tree : data::parseXml(text.bytes.data(), text.bytes.size()));
        benchmark::DoNotOptimize(matchesTenPhones(handler.supportedDevices()));
    }
    state.counters["entries"] = static_cast<double>(handler.supportedDevices().size());
}

void listParse(benchmark::State& state) {
    const auto pins = publishPins();
    base::HttpHeaders headers;
    base::Bytes bytes;
    base::runHttpRequest("GET", serverUrl("/production/zd/data/zd-supported-devices.xml"), {}, {}, headers, bytes,
                         false, nullptr, nullptr);
    std::size_t entries = 0;
    for (auto _ : state) {
        entries = device::supportedEntries(data::parseXml(bytes.data(), bytes.size())).size();
    }
    state.counters["entries"] = static_cast<double>(entries);
}
BENCHMARK(listPass)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(listParse)->Unit(benchmark::kMillisecond)->UseRealTime();

long proportionalMemory() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    long size = 0;
    while (rollup >> word && word != "Pss:") {
    }
    rollup >> size;
    return size;
}

// What is left of passes over both lists, in kB.
void listGrowth(benchmark::State& state) {
    const tests::TempSession session;
    const auto pins = publishPins();
    const auto downloads = std::make_shared<Downloads>();
    base::globalHttpHandler().publish(downloads);
    device::setDownloadBaseUrl(serverUrl(""));
    device::setDeviceListServerEnvironment(0, 2);
    device::DeviceFilterHandler handler;
    const auto pass = [&] {
        if (!handler.updateLists()) {
            state.SkipWithError("not fresh");
        }
        malloc_trim(0);
        return static_cast<double>(proportionalMemory());
    };
    for (auto _ : state) {
        // The heap finds its shape in the first of them.
        for (int i = 0; i < 20; ++i) {
            state.counters["settled"] = pass();
        }
        for (int i = 0; i < 100; ++i) {
            state.counters["last"] = pass();
        }
    }
}
BENCHMARK(listGrowth)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
