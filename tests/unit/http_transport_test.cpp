// The transport over libcurl against a real server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>

#include <memory>
#include <thread>

#include "captured_events.h"
#include "captured_log.h"
#include "fault_server.h"
#include "net/cached_get.h"
#include "net/http_provider_curl.h"
#include "net/perform_request.h"
#include "net/pinning.h"
#include "net/proxy.h"
#include "temp_session.h"

namespace {

using base::Bytes;
using base::HttpHeaders;
using base::HttpProviderCURL;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using tests::Lines;

constexpr const char* environmentProxies[] = {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy",
                                              "ALL_PROXY",  "no_proxy",    "NO_PROXY"};

// Trusts the server's root, and for a pinned address does what a rejected chain does.
struct TestPins : base::CertificatePins {
    std::vector<Bytes> pinnedKeysFor(const std::string& url) override {
        return url.find("pinned") == std::string::npos ? std::vector<Bytes>() : std::vector<Bytes>{{1, 2}};
    }
    const std::vector<X509*>& systemRoots() override { return roots; }
    SSL_verify_cb verifyCallback() override {
        return [](int, X509_STORE_CTX* store) {
            const int index = SSL_get_ex_data_X509_STORE_CTX_idx();
            auto* const ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, index));
            auto* const record = static_cast<base::HTTPReqInfo*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), 0));
            const std::lock_guard lock(record->mutex);
            record->pinRejected = true;
            record->chainText = "Leaf -- Root";
            record->chainIssuer = "Root";
            return 0;
        };
    }
    void trust(const std::string& path) {
        const std::unique_ptr<BIO, int (*)(BIO*)> file(BIO_new_file(path.c_str(), "r"), BIO_free);
        roots.push_back(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr));
    }
    ~TestPins() override {
        for (X509* const root : roots) {
            X509_free(root);
        }
    }
    std::vector<X509*> roots;
};

struct OneProxy : base::ProxyDiscovery {
    std::vector<base::ProxyEntry> getProxySettings(const std::string&, const std::string&, std::string*) override {
        return {{{"address", "127.0.0.1"}, {"port", port}}};
    }
    std::string port;
};

class HttpTransportTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        curl_global_init(CURL_GLOBAL_ALL);
        server_ = new tests::FaultServer;
    }
    static void TearDownTestSuite() { delete server_; }
    HttpTransportTest() {
        for (const char* const name : environmentProxies) {
            proxies_.push_back(std::make_unique<tests::EnvironmentSetting>(name, nullptr));
        }
    }

    std::int32_t request(const std::string& method, const std::string& url, const std::string& body = "",
                         const HttpHeaders& headers = {}, bool noPinning = true) {
        Bytes response;
        const std::int32_t status = base::runHttpRequest(method, url, {body.begin(), body.end()}, headers, headers_,
                                                         response, noPinning, &cancel_, &detail_);
        body_.assign(response.begin(), response.end());
        return status;
    }
    std::int32_t get(const std::string& path) { return request("GET", server_->plain(path)); }

    static inline tests::FaultServer* server_ = nullptr;
    tests::TempSession session_;
    std::vector<std::unique_ptr<tests::EnvironmentSetting>> proxies_;
    tests::CapturedLog log_;
    base::CancelWord cancel_{0};
    std::string detail_;
    HttpHeaders headers_;
    std::string body_;
};

TEST_F(HttpTransportTest, DeliversAnswersOfAllKinds) {
    EXPECT_EQ(get("/ok"), 200);
    EXPECT_EQ(body_, "hello");
    EXPECT_EQ(get("/missing"), 404);
    EXPECT_EQ(body_, "none");
    EXPECT_EQ(get("/redirect"), 302);
    EXPECT_EQ(headers_["Location"], server_->plain("/ok"));
    EXPECT_EQ(get("/bare"), 200);
    EXPECT_EQ(body_, "body");
    EXPECT_EQ(get("/interim"), 200);
    EXPECT_EQ(body_, "late");
    EXPECT_EQ(get("/hints"), 200);
    EXPECT_EQ(
        request("GET", server_->plain("/conditional"), "", {{"If-Modified-Since", "Mon, 01 Jan 2024 00:00:00 GMT"}}),
        304);
    EXPECT_THAT(log_.lines(), testing::Contains("CURLHTTP URL: \"" + server_->plain("/ok") + "\""));
    EXPECT_EQ(get("/headers"), 200);
    EXPECT_EQ(headers_, (HttpHeaders{{"X-A", "two"},
                                     {"x-a", "three"},
                                     {"Colon", "a:b: c"},
                                     {"Tail", "v "},
                                     {"Name", "n"},
                                     {"Content-Length", "0"}}));
}

TEST_F(HttpTransportTest, SendsWhatItIsGiven) {
    request("GET", server_->plain("/echo"), "", {{"X-One", "1"}, {"X-Two", "2"}});
    EXPECT_THAT(body_, StartsWith("GET /echo HTTP/1.1\r\n"));
    EXPECT_THAT(body_, HasSubstr("User-Agent: Zelmo Dockset Win/2.18.6.0\r\n"));
    EXPECT_THAT(body_, HasSubstr("X-One: 1\r\nX-Two: 2\r\n"));
    request("GET", server_->plain("/echo"), "", {{"USER-AGENT", "mine"}});
    EXPECT_THAT(body_, HasSubstr("USER-AGENT: mine\r\n"));
    request("GET", server_->plain("/echo"), "", {{"USER-AGENT", ""}});
    EXPECT_THAT(body_, testing::Not(HasSubstr("USER-AGENT")));

    const std::string upload(300'000, 'u');
    EXPECT_EQ(request("POST", server_->plain("/echo"), upload), 200);
    EXPECT_THAT(body_, HasSubstr("Content-Length: 300000\r\n"));
    EXPECT_TRUE(body_.ends_with("\r\n\r\n" + upload));
    EXPECT_EQ(request("PUT", server_->plain("/echo"), "put this"), 200);
    EXPECT_THAT(body_, StartsWith("PUT /echo"));
    EXPECT_THAT(body_, HasSubstr("Content-Length: 8\r\n"));
    EXPECT_TRUE(body_.ends_with("\r\n\r\nput this"));
    EXPECT_EQ(request("DELETE", server_->plain("/echo")), 200);
    EXPECT_THAT(body_, StartsWith("DELETE /echo"));
}

TEST_F(HttpTransportTest, BrokenTransfersHaveNoStatus) {
    const std::pair<const char*, CURLcode> faults[] = {
        {"/cut", CURLE_PARTIAL_FILE},    {"/half-head", CURLE_PARTIAL_FILE},       {"/reset", CURLE_RECV_ERROR},
        {"/nothing", CURLE_GOT_NOTHING}, {"/garbage", CURLE_UNSUPPORTED_PROTOCOL}, {"/long", CURLE_OUT_OF_MEMORY}};
    for (const auto& [path, code] : faults) {
        log_.take();
        EXPECT_EQ(get(path), -1) << path;
        EXPECT_EQ(log_.take().back(), std::string("CURLHTTP curl_easy_perform returned ") + curl_easy_strerror(code))
            << path;
        EXPECT_EQ(detail_, "");
    }
    cancel_ = 2;
    EXPECT_EQ(get("/ok"), 200) << "only the low bit counts";
    std::thread canceller([this] { cancel_ = 3; });
    EXPECT_EQ(get("/drip"), -1);
    canceller.join();
    EXPECT_EQ(log_.lines().back(),
              "CURLHTTP curl_easy_perform returned Operation was aborted by an application callback");
}

TEST_F(HttpTransportTest, TellsOfADeadProxyAndOfOneThatRefuses) {
    const auto proxy = std::make_shared<OneProxy>();
    base::proxyDiscovery().publish(proxy);
    proxy->port = "1";
    EXPECT_EQ(request("GET", "http://example.test/"), -1);
    EXPECT_EQ(detail_, "proxy:127.0.0.1:1");
    proxy->port = std::to_string(server_->port());
    EXPECT_EQ(request("GET", "https://example.test/"), -1);
    EXPECT_EQ(detail_, "");
    EXPECT_EQ(headers_["X-Proxy"], "no");
}

TEST_F(HttpTransportTest, TrustsTheSystemsRootsAndAsksForPinnedKeys) {
    const tests::CapturedEvents events;
    EXPECT_EQ(request("GET", server_->secure("/ok"), "", {}, false), -1) << "nobody vouches for the server";
    const auto pins = std::make_shared<TestPins>();
    base::certificatePins().publish(pins);
    pins->trust(server_->rootFile());
    EXPECT_EQ(request("GET", server_->secure("/ok"), "", {}, false), 200);
    EXPECT_EQ(detail_, "");
    EXPECT_EQ(events.lines(), Lines{});

    EXPECT_EQ(request("GET", server_->secure("/ok#pinned-google-analytics"), "", {}, false), 200);
    const std::string pinned = server_->secure("/ok#pinned");
    EXPECT_EQ(request("GET", pinned, "", {}, true), 200);
    EXPECT_EQ(request("GET", pinned, "", {}, false), -1);
    EXPECT_EQ(detail_, "pinning:Root");
    EXPECT_EQ(events.lines(), Lines{"CertificatePinning/Failed/PinningFailed/6=" + pinned + "/7=Leaf -- Root"});
}

TEST_F(HttpTransportTest, CachesWholeAnswersOnly) {
    base::PlatformCacheHandler cache;
    std::int32_t status = 0;
    const base::HttpGet httpGet = [&](const auto& url, const auto& headers, auto& responseHeaders, auto& response,
                                      bool noPinning, const auto* cancelFlag, auto* detail) {
        return status = base::runHttpRequest("GET", url, {}, headers, responseHeaders, response, noPinning, cancelFlag,
                                             detail);
    };
    Bytes data;
    bool fresh = false;
    const auto fetch = [&](const std::string& path) {
        return base::getUrlCached(cache, httpGet, server_->plain(path), data, &fresh, true, true, true, nullptr,
                                  nullptr);
    };
    EXPECT_TRUE(fetch("/conditional") && fresh && status == 200);
    EXPECT_TRUE(fetch("/conditional") && fresh && status == 304);
    EXPECT_EQ(data, (Bytes{'l', 'i', 's', 't'}));
    EXPECT_FALSE(fetch("/cut"));
    cache.put(server_->plain("/cut"), {'o', 'l', 'd'}, "");
    EXPECT_TRUE(fetch("/cut") && !fresh && status == -1);
    EXPECT_EQ(data, (Bytes{'o', 'l', 'd'}));
}

// Everything that `read` gives until there is no more.
std::string readAll(HttpProviderCURL& provider, std::size_t piece, bool& good) {
    std::string all;
    std::string buffer(piece, '\0');
    std::size_t count = 0;
    for (std::int32_t more = 1; more != 0;) {
        good = provider.read(buffer.data(), piece, &count, &more);
        all.append(buffer, 0, count);
    }
    return all;
}

TEST_F(HttpTransportTest, ProviderServesARequestInSteps) {
    HttpProviderCURL provider;
    provider.open(server_->plain("/echo"), "POST");
    provider.disablePinning();
    provider.send({{"X-A", "1"}, {"X-A", "2"}}, 4, "body");
    std::int32_t status = 0;
    EXPECT_TRUE(provider.statusCode(&status));
    EXPECT_EQ(status, 200);
    HttpProviderCURL::HeaderList list{{"junk", ""}};
    EXPECT_TRUE(provider.headerList(list));
    EXPECT_THAT(list, ElementsAre(testing::Pair("Content-Length", testing::_)));
    char byte = 0;
    std::size_t count = 9;
    std::int32_t more = 9;
    EXPECT_TRUE(provider.read(&byte, 0, &count, &more));
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(more, 1);
    bool good = false;
    const std::string answer = readAll(provider, 7, good);
    EXPECT_TRUE(good);
    EXPECT_THAT(answer, HasSubstr("X-A: 2\r\n"));
    EXPECT_TRUE(answer.ends_with("\r\n\r\nbody"));

    provider.reset();
    provider.disablePinning();
    provider.send({}, 4, nullptr);
    EXPECT_THAT(readAll(provider, 1000, good),
                testing::AllOf(StartsWith("POST /echo"), testing::Not(HasSubstr("X-A"))));
}

TEST_F(HttpTransportTest, ProviderTellsOfFailures) {
    HttpProviderCURL provider;
    std::int32_t status = 0;
    bool good = true;
    provider.open(server_->plain("/ok"), "GET");
    provider.send({}, 0, nullptr);
    EXPECT_TRUE(provider.statusCode(&status));
    EXPECT_EQ(status, -1) << "plain http is refused";
    EXPECT_EQ(readAll(provider, 10, good), "");

    provider.open(server_->plain("/cut"), "GET");
    provider.reset();
    provider.disablePinning();
    provider.send({}, 0, nullptr);
    EXPECT_EQ(readAll(provider, 1000, good).size(), 100U);
    EXPECT_FALSE(good);
    EXPECT_TRUE(provider.statusCode(&status));
    EXPECT_EQ(status, -1);

    provider.open(server_->plain("/drip"), "GET");
    provider.reset();
    provider.disablePinning();
    provider.send({}, 0, nullptr);
    EXPECT_TRUE(provider.statusCode(&status));
    EXPECT_EQ(status, 200);
    provider.cancel();
    readAll(provider, 1000, good);
    EXPECT_FALSE(good);
    HttpHeaders headers;
    EXPECT_TRUE(provider.headerMap(headers));
    EXPECT_EQ(headers["Content-Length"], "100000");
}

}  // namespace
