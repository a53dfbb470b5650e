#include <gtest/gtest.h>

#include "captured_events.h"
#include "captured_log.h"
#include "net/cached_get.h"
#include "net/http_handler.h"
#include "net/proxy.h"
#include "net/request_checks.h"
#include "net/url.h"
#include "temp_session.h"

namespace {

using base::Bytes;
using base::HttpHeaders;
using tests::Lines;

TEST(UsageEvents, ReachTheSinkAndTheLog) {
    const tests::CapturedLog log;
    base::reportUsageEvent({.category = "nobody"});
    {
        const tests::CapturedEvents events;
        base::UsageEvent event{
            .category = "c", .action = "a", .label = "", .value = 7, .hasValue = true, .dimensions = {}};
        event.dimensions[6] = "old";
        event.dimensions[6] = "new";
        base::reportUsageEvent(event);
        base::reportUsageEvent({});
        EXPECT_EQ(events.lines(), (Lines{"c/a//6=new", "undefined/undefined/undefined"}));
    }
    base::reportUsageEvent({.category = "nobody"});
    EXPECT_EQ(log.lines(),
              (Lines{"analytics event = c / a / 7", "analytics event = undefined / undefined / undefined"}));
}

TEST(ParseUrl, SplitsAtTheFirstMarks) {
    const auto text = [](const std::string& url) {
        const base::UrlParts parts = base::parseUrl(url);
        return (parts.https ? "s " : "- ") + parts.host + " " + std::to_string(parts.port) + " " + parts.path;
    };
    EXPECT_EQ(text("https://a.b/c/d?e=f://g"), "s a.b 443 /c/d?e=f://g");
    EXPECT_EQ(text("http://A:81"), "- A 81 /");
    EXPECT_EQ(text("HTTPS://a:x/"), "- a 80 /");
    EXPECT_EQ(text("https://a:65536/"), "s a 443 /");
    EXPECT_EQ(text("https://user:1@host/"), "s user 443 /");
    EXPECT_EQ(text("host/p:1"), "- host 80 /p:1");
    EXPECT_EQ(text(""), "-  80 /");
}

TEST(RequestChecks, RefuseAndReport) {
    const tests::CapturedLog log;
    const tests::CapturedEvents events;
    EXPECT_FALSE(base::checkRequest("GET", "", true));
    EXPECT_FALSE(base::checkRequest("GET", "http://a", false));
    EXPECT_FALSE(base::checkRequest("get", "https://example.test", false));
    EXPECT_FALSE(base::checkRequest("PUT", "HTTPS://example.test", false));
    EXPECT_TRUE(base::checkRequest("DELETE", "http://a", true));
    EXPECT_TRUE(base::checkRequest("POST", "https://example.test", false));
    EXPECT_EQ(events.lines(),
              (Lines{"GeneralError/EmptyURL/EmptyURL/6=GET/7=", "GeneralError/ShortURL/http://a/6=GET/7=",
                     "CertificatePinning/NonHttpsURL/GETBadURL/6=http://a/7=",
                     "GeneralError/InvalidMethod/get/6=https://example.test/7=",
                     "CertificatePinning/NonHttpsURL/PUTBadURL/6=HTTPS://example.test/7=",
                     "GeneralError/ShortURL/http://a/6=DELETE/7="}));
    Lines refusals = log.lines();
    std::erase_if(refusals, [](const std::string& line) { return line.starts_with("analytics"); });
    EXPECT_EQ(refusals,
              (Lines{"HttpHandler Empty URL, aborting - method = GET",
                     "HttpHandler Non-HTTPS URL to pinning request: http://a", "HttpHandler Invalid method get",
                     "HttpHandler Non-HTTPS URL to pinning request: HTTPS://example.test"}));
}

// The cache and the server of a request, both at the test's command.
class CachedGetTest : public testing::Test, public dockset::PlatformCache {
protected:
    bool put(const std::string&, const Bytes& data, const std::string& lastModified) override {
        stored_ = std::string(data.begin(), data.end()) + "/" + lastModified;
        return true;
    }
    bool get(const std::string&, Bytes& data, std::string& lastModified) override {
        if (cachedDate_ == nullptr) {
            return false;
        }
        data = {'o', 'l', 'd'};
        lastModified = cachedDate_;
        return true;
    }
    // "result fresh data stored asked-with"
    std::string fetch(std::int32_t status, const HttpHeaders& answer, bool useCache, bool keepStale) {
        stored_ = asked_ = "-";
        Bytes data{'j', 'u', 'n', 'k'};
        bool fresh = true;
        std::string detail = "earlier";
        const auto httpGet = [&](const std::string&, const HttpHeaders& headers, HttpHeaders& responseHeaders,
                                 Bytes& response, bool, const base::CancelWord*, std::string* text) {
            EXPECT_EQ(*text, "");
            asked_ = headers.empty() ? "-" : headers.begin()->first + "=" + headers.begin()->second;
            responseHeaders = answer;
            response = {'n', 'e', 'w'};
            return status;
        };
        const bool result =
            base::getUrlCached(*this, httpGet, "https://u", data, &fresh, useCache, keepStale, false, nullptr, &detail);
        return std::string(result ? "true " : "false ") + (fresh ? "fresh " : "stale ") +
               std::string(data.begin(), data.end()) + " " + stored_ + " " + asked_;
    }

    const char* cachedDate_ = nullptr;
    std::string stored_;
    std::string asked_;
};

TEST_F(CachedGetTest, WithoutACopy) {
    EXPECT_EQ(fetch(200, {{"Last-Modified", "d"}}, true, false), "true fresh new new/d -");
    EXPECT_EQ(fetch(200, {{"Last-Modified", "d"}}, false, false), "true fresh new - -");
    EXPECT_EQ(fetch(304, {}, true, true), "false stale  - -");
    EXPECT_EQ(fetch(-1, {}, true, true), "false stale  - -");
    cachedDate_ = "old";
    EXPECT_EQ(fetch(404, {}, false, true), "false stale  - -");
}

TEST_F(CachedGetTest, WithACopy) {
    cachedDate_ = "then";
    EXPECT_EQ(fetch(304, {}, true, false), "true fresh old - If-Modified-Since=then");
    EXPECT_EQ(fetch(200, {}, true, false), "true fresh new new/ If-Modified-Since=then");
    EXPECT_EQ(fetch(-1, {}, true, true), "true stale old - If-Modified-Since=then");
    EXPECT_EQ(fetch(500, {}, true, false), "false stale  - If-Modified-Since=then");
    cachedDate_ = "";
    EXPECT_EQ(fetch(304, {}, true, false), "true fresh old - -");
}

TEST_F(CachedGetTest, TakesTheDateByItsExactNameUnlessAllNamesAreFolded) {
    EXPECT_EQ(fetch(200, {{"last-modified", "d"}, {"etag", "E"}}, true, false), "true fresh new new/d -");
    EXPECT_EQ(fetch(200, {{"last-modified", "d"}, {"ETag", "e"}}, true, false), "true fresh new new/ -");
    EXPECT_EQ(fetch(200, {{"last-modified", "d"}, {"Last-Modified", "e"}}, true, false), "true fresh new new/e -");
}

struct FixedDiscovery : base::ProxyDiscovery {
    std::vector<base::ProxyEntry> getProxySettings(const std::string& url, const std::string& userAgent,
                                                   std::string*) override {
        asked = url + " " + userAgent;
        return entries;
    }
    std::vector<base::ProxyEntry> entries;
    std::string asked;
};

TEST(ChooseProxy, FollowsTheUserThenTheSystem) {
    const tests::TempSession session;
    dockset::AppSettings settings;
    const auto stored = session.path() / "home/Documents/Tavrin/Zelmo Dockset/app_settings.json";
    const auto choose = [&](const std::string& text, const std::string& url = "https://example.test/") {
        std::ofstream(stored.string()) << text;
        return base::chooseProxy(settings, url, "agent");
    };
    const std::string manual = R"({"proxy_setting": "manual", "proxy": {"address": "Proxy", "port": 8081}})";
    EXPECT_EQ(choose(manual), "Proxy:8081");
    EXPECT_EQ(choose(manual, "https://example.test/localhost"), "");
    EXPECT_EQ(choose(manual, "https://127.0.0.1/"), "");
    EXPECT_EQ(choose(R"({"proxy_setting": "manual", "proxy": {"address": "Proxy", "port": ""}})"), "");
    EXPECT_EQ(choose(R"({"proxy_setting": "auto"})"), "") << "the system isn't asked";

    const auto discovery = std::make_shared<FixedDiscovery>();
    discovery->entries = {{{"autoConfigScript", "http://s"}}, {{"address", "a"}}, {{"address", "b"}, {"port", "1"}}};
    base::proxyDiscovery().publish(discovery);
    EXPECT_EQ(choose(R"({"proxy_setting": "none"})"), "");
    EXPECT_EQ(discovery->asked, "");
    EXPECT_EQ(choose(R"({"proxy_setting": "auto"})"), "b:1");
    EXPECT_EQ(discovery->asked, "https://example.test/ agent");
}

}  // namespace
