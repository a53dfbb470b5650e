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

TEST(ParseUrl, SplitsAtTheFirstMarks) {
    for (const auto& [url, text] : {
             std::pair{"https://a.b/c/d?e=f://g", "s a.b 443 /c/d?e=f://g"},
             {"http://A:81", "- A 81 /"},
             {"HTTPS://a:x/", "- a 80 /"},
             {"https://a:65536/", "s a 443 /"},
             {"https://user:1@host/", "s user 443 /"},
             {"host/p:1", "- host 80 /p:1"},
             {"", "-  80 /"},
         }) {
        const base::UrlParts parts = base::parseUrl(url);
        EXPECT_EQ((parts.https ? "s " : "- ") + parts.host + " " + std::to_string(parts.port) + " " + parts.path, text);
    }
}

TEST(RequestChecks, RefuseAndReport) {
    tests::CapturedLog log;
    const tests::CapturedEvents events;
    EXPECT_FALSE(base::checkRequest("GET", "", true));
    EXPECT_FALSE(base::checkRequest("GET", "http://abc", false));
    EXPECT_FALSE(base::checkRequest("get", "https://a.test", false));
    EXPECT_FALSE(base::checkRequest("PUT", "HTTPS://a.test", false));
    EXPECT_TRUE(base::checkRequest("DELETE", "http://ab", true));
    EXPECT_TRUE(base::checkRequest("POST", "https://a.test", false));
    EXPECT_EQ(
        events.lines(),
        (Lines{"GeneralError/EmptyURL/EmptyURL/6=GET/7=", "CertificatePinning/NonHttpsURL/GETBadURL/6=http://abc/7=",
               "GeneralError/InvalidMethod/get/6=https://a.test/7=",
               "CertificatePinning/NonHttpsURL/PUTBadURL/6=HTTPS://a.test/7=",
               "GeneralError/ShortURL/http://ab/6=DELETE/7="}));
    Lines refusals = log.take();
    std::erase_if(refusals, [](const std::string& line) { return line.starts_with("analytics"); });
    const std::string plain = "HttpHandler Non-HTTPS URL to pinning request: ";
    EXPECT_EQ(refusals, (Lines{"HttpHandler Empty URL, aborting - method = GET", plain + "http://abc",
                               "HttpHandler Invalid method get", plain + "HTTPS://a.test"}));
}

// The cache and the server of a request, both at the test's command.
class CachedGetTest : public testing::Test, public dockset::PlatformCache {
protected:
    bool put(const std::string&, const Bytes& data, const std::string& lastModified) override {
        stored_ = tests::textOf(data) + "/" + lastModified;
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
    std::string fetch(std::int32_t status, const HttpHeaders& answer, bool useCache, bool keepStale,
                      const std::string& url = "https://u") {
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
            base::getUrlCached(*this, httpGet, url, data, &fresh, useCache, keepStale, false, nullptr, &detail);
        return std::string(result ? "true " : "false ") + (fresh ? "fresh " : "stale ") + tests::textOf(data) + " " +
               stored_ + " " + asked_;
    }

    const char* cachedDate_ = nullptr;
    std::string stored_;
    std::string asked_;
};

TEST_F(CachedGetTest, AsksForWhatIsNewerAndKeepsWhatItGets) {
    EXPECT_EQ(fetch(200, {{"Last-Modified", "d"}}, true, false), "true fresh new new/d -");
    EXPECT_EQ(fetch(200, {{"Last-Modified", "d"}}, false, false), "true fresh new - -");
    EXPECT_EQ(fetch(304, {}, true, true), "false stale  - -");
    EXPECT_EQ(fetch(-1, {}, true, true), "false stale  - -");
    // The date goes by its exact name unless all names are folded.
    EXPECT_EQ(fetch(200, {{"last-modified", "d"}, {"etag", "E"}}, true, false), "true fresh new new/d -");
    EXPECT_EQ(fetch(200, {{"last-modified", "d"}, {"ETag", "e"}}, true, false), "true fresh new new/ -");
    cachedDate_ = "then";
    EXPECT_EQ(fetch(404, {}, false, true), "false stale  - -");
    EXPECT_EQ(fetch(304, {}, true, false), "true fresh old - If-Modified-Since=then");
    EXPECT_EQ(fetch(200, {}, true, false), "true fresh new new/ If-Modified-Since=then");
    EXPECT_EQ(fetch(-1, {}, true, true), "true stale old - If-Modified-Since=then");
    EXPECT_EQ(fetch(500, {}, true, false), "false stale  - If-Modified-Since=then");
    EXPECT_EQ(fetch(200, {}, true, true, "https://u/list.xml"), "true stale old - If-Modified-Since=then")
        << "what isn't the document keeps the copy";
    EXPECT_EQ(fetch(200, {{"Last-Modified", "d\r\x01"}}, true, false), "true fresh new new/ If-Modified-Since=then");
    cachedDate_ = "";
    EXPECT_EQ(fetch(304, {}, true, false), "true fresh old - -");
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
    const auto choose = [&](const std::string& text, const std::string& url = "https://example.test/") {
        session.write("app_settings.json", "{\"proxy_setting\": " + text + "}");
        return base::chooseProxy(settings, url, "agent");
    };
    const std::string manual = R"("manual", "proxy": {"address": "Proxy", "port": 8081})";
    EXPECT_EQ(choose(manual), "Proxy:8081");
    EXPECT_EQ(choose(manual, "https://example.test/localhost"), "");
    EXPECT_EQ(choose(manual, "https://127.0.0.1/"), "");
    EXPECT_EQ(choose(R"("manual", "proxy": {"address": "Proxy", "port": ""})"), "");
    EXPECT_EQ(choose(R"("auto")"), "") << "the system isn't asked";

    const auto discovery = std::make_shared<FixedDiscovery>();
    discovery->entries = {{{"autoConfigScript", "http://s"}}, {{"address", "a"}}, {{"address", "b"}, {"port", "1"}}};
    base::proxyDiscovery().publish(discovery);
    EXPECT_EQ(choose(R"("none")"), "");
    EXPECT_EQ(discovery->asked, "");
    EXPECT_EQ(choose(R"("auto")"), "b:1");
    EXPECT_EQ(discovery->asked, "https://example.test/ agent");
}

}  // namespace
