// The transport over libcurl against a real server.
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "agent/http_handler_win32.h"
#include "captured_events.h"
#include "captured_log.h"
#include "fault_server.h"
#include "net/curl_callbacks.h"
#include "net/http_provider_curl.h"
#include "net/installed_pins.h"
#include "net/proxy.h"
#include "platform/platform_win32.h"

namespace {

using base::Bytes;
using base::HttpHeaders;
using base::HttpProviderCURL;
using testing::HasSubstr;
using testing::StartsWith;
using tests::Lines;

struct OneProxy : base::ProxyDiscovery {
    std::vector<base::ProxyEntry> getProxySettings(const std::string&, const std::string&, std::string*) override {
        return {{{"address", "127.0.0.1"}, {"port", port}}};
    }
    std::string port;
};

class HttpTransportTest : public testing::Test {
protected:
    static void SetUpTestSuite() { curl_global_init(CURL_GLOBAL_ALL); }

    std::int32_t request(const std::string& method, const std::string& url, const std::string& body = "",
                         const HttpHeaders& headers = {}, bool noPinning = true) {
        const Bytes bytes = tests::bytesOf(body);
        Bytes response;
        const std::int32_t status =
            method == "GET"    ? handler_.httpGet(url, headers, headers_, response, noPinning, &cancel_, &detail_)
            : method == "POST" ? handler_.httpPost(url, headers, bytes, headers_, response, noPinning, &cancel_)
            : method == "PUT"  ? handler_.httpPut(url, headers, bytes, headers_, response, noPinning, &cancel_)
                               : handler_.httpDelete(url, headers, headers_, response, noPinning, &cancel_);
        body_ = tests::textOf(response);
        return status;
    }
    std::int32_t get(const std::string& path) { return request("GET", server_.plain(path)); }

    const tests::ServedSession session_;
    const tests::FaultServer& server_ = session_.server;
    agent::AgentWin32HttpHandler handler_;
    tests::CapturedLog log_;
    const tests::CapturedEvents events_;
    base::CancelWord cancel_{0};
    std::string detail_;
    HttpHeaders headers_;
    std::string body_;
};

TEST_F(HttpTransportTest, DeliversAnswersOfAllKinds) {
    struct Row {
        const char* path;
        int status;
        const char* body;
    };
    for (const auto& [path, status, body] :
         {Row{"/ok", 200, "hello"}, Row{"/missing", 404, "none"}, Row{"/bare", 200, "body"},
          Row{"/interim", 200, "late"}, Row{"/hints", 200, "late"}, Row{"/redirect", 302, ""}}) {
        EXPECT_EQ(get(path), status) << path;
        EXPECT_EQ(body_, body) << path;
    }
    EXPECT_EQ(headers_["Location"], server_.plain("/ok"));
    EXPECT_THAT(log_.lines(), testing::Contains("CURLHTTP URL: \"" + server_.plain("/ok") + "\""));
    EXPECT_EQ(get("/headers"), 200);
    EXPECT_EQ(headers_, (HttpHeaders{{"X-A", "two"},
                                     {"x-a", "three"},
                                     {"Colon", "a:b: c"},
                                     {"Tail", "v "},
                                     {"Name", "n"},
                                     {"Content-Length", "0"}}));
}

TEST_F(HttpTransportTest, SendsWhatItIsGiven) {
    const std::string echo = server_.plain("/echo");
    request("GET", echo, "", {{"X-One", "1"}, {"X-Two", "2"}});
    EXPECT_THAT(body_, StartsWith("GET /echo HTTP/1.1\r\n"));
    EXPECT_THAT(body_, HasSubstr("User-Agent: Zelmo Dockset Win/2.18.6.0\r\n"));
    EXPECT_THAT(body_, HasSubstr("X-One: 1\r\nX-Two: 2\r\n"));
    request("GET", echo, "", {{"USER-AGENT", "mine"}});
    EXPECT_THAT(body_, HasSubstr("USER-AGENT: mine\r\n"));
    request("GET", echo, "", {{"USER-AGENT", ""}});
    EXPECT_THAT(body_, testing::Not(HasSubstr("USER-AGENT")));
    for (const std::string method : {"POST", "PUT"}) {
        for (const std::string& upload : {std::string("put this"), std::string(300'000, 'u')}) {
            EXPECT_EQ(request(method, echo, upload), 200);
            EXPECT_THAT(body_, StartsWith(method + " /echo"));
            EXPECT_THAT(body_, HasSubstr("Content-Length: " + std::to_string(upload.size()) + "\r\n"));
            EXPECT_TRUE(body_.ends_with("\r\n\r\n" + upload));
        }
    }
    EXPECT_EQ(request("DELETE", echo), 200);
    EXPECT_THAT(body_, StartsWith("DELETE /echo"));
}

TEST_F(HttpTransportTest, BrokenTransfersHaveNoStatus) {
    const std::pair<const char*, CURLcode> faults[] = {
        {"/cut", CURLE_PARTIAL_FILE},    {"/half-head", CURLE_PARTIAL_FILE},       {"/reset", CURLE_RECV_ERROR},
        {"/nothing", CURLE_GOT_NOTHING}, {"/garbage", CURLE_UNSUPPORTED_PROTOCOL}, {"/long", CURLE_OUT_OF_MEMORY}};
    const std::string line = "CURLHTTP curl_easy_perform returned ";
    for (const auto& [path, code] : faults) {
        EXPECT_EQ(get(path), -1) << path;
        EXPECT_EQ(log_.lines().back(), line + curl_easy_strerror(code)) << path;
        EXPECT_EQ(detail_, "");
    }
    EXPECT_EQ(request("GET", server_.plain("/endless")), -1);
    EXPECT_EQ(log_.lines().back(), "CURLHTTP The answer is longer than 100000000 bytes");
    cancel_ = 2;
    EXPECT_EQ(get("/ok"), 200) << "only the low bit counts";
    std::thread canceller([this] { cancel_ = 3; });
    EXPECT_EQ(get("/drip"), -1);
    canceller.join();
    EXPECT_EQ(log_.lines().back(), line + "Operation was aborted by an application callback");
}

TEST_F(HttpTransportTest, TellsOfADeadProxyAndOfOneThatRefuses) {
    const tests::EnvironmentSetting proxied("no_proxy", nullptr);
    const auto proxy = std::make_shared<OneProxy>();
    base::proxyDiscovery().publish(proxy);
    proxy->port = "1";
    EXPECT_EQ(request("GET", "http://example.test/"), -1);
    EXPECT_EQ(detail_, "proxy:127.0.0.1:1");
    proxy->port = std::to_string(server_.port());
    EXPECT_EQ(request("GET", "https://example.test/"), -1);
    EXPECT_EQ(detail_, "");
    EXPECT_EQ(headers_["X-Proxy"], "no");
}

std::int32_t statusOf(HttpProviderCURL& provider) {
    std::int32_t status = 0;
    EXPECT_TRUE(provider.statusCode(&status));
    return status;
}

TEST_F(HttpTransportTest, NeedsATrustedServerThatShowsAPinnedKey) {
    const tests::TempDirectory files;
    std::shared_ptr<base::InstalledPins> pins;
    const auto ask = [&](const std::string& path, bool noPinning = false) {
        pins = std::make_shared<base::InstalledPins>(files.path());
        base::certificatePins().publish(pins);
        return request("GET", server_.pinned(path), "", {}, noPinning);
    };
    EXPECT_EQ(request("GET", server_.pinned("/ok"), "", {}, false), -1) << "there are no roots";
    EXPECT_EQ(ask("/ok"), 200) << "no keys are installed";
    files.write("tavrin2.pem", tests::pemOf(tests::rsaKey()));
    EXPECT_EQ(ask("/ok#google-analytics"), 200) << "is exempt";
    EXPECT_EQ(ask("/ok", true), 200);
    EXPECT_EQ(events_.lines(), Lines{});
    EXPECT_EQ(ask("/ok"), -1);
    EXPECT_EQ(detail_, "pinning:Test Root");
    EXPECT_EQ(events_.lines(),
              Lines{"CertificatePinning/Failed/PinningFailed/6=" + server_.pinned("/ok") + "/7=Test Root"});
    files.write("tavrin3.pem", tests::pemOf(server_.publicKey()));
    EXPECT_EQ(ask("/ok"), 200);
    EXPECT_EQ(detail_, "");
    EXPECT_EQ(ask("/bare?ended"), 200);
    EXPECT_EQ(body_, "body");
    EXPECT_EQ(ask("/bare"), -1) << "it may have been cut off";

    for (const auto& [key, status] : {std::pair{Bytes{1}, -1}, {tests::derOf(server_.publicKey()), 200}}) {
        HttpProviderCURL provider;
        provider.open(server_.secure("/ok"), "GET");
        provider.addPinnedKeys({key});
        provider.send({}, 0, nullptr);
        EXPECT_EQ(statusOf(provider), status);
    }

    base::HTTPReqInfo record;
    record.pinMatched = true;
    const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    base::onSslContext(nullptr, context.get(), &record);
    EXPECT_FALSE(record.pinMatched) << "each connection of a request has to show a pinned key";
    const tests::EnvironmentSetting nobody("SSL_CERT_FILE", "/nowhere");
    EXPECT_EQ(ask("/ok"), -1) << "nobody vouches for the server";
}

TEST_F(HttpTransportTest, ProviderServesARequestInSteps) {
    HttpProviderCURL provider;
    const auto send = [&](const char* path, const char* method) {
        provider.open(server_.plain(path), method);
        provider.disablePinning();
        provider.send({{"X-A", "1"}, {"X-A", "2"}}, 4, "body");
        return statusOf(provider);
    };
    bool good = false;
    const auto read = [&] {
        std::string all;
        std::array<char, 7> piece{};
        std::size_t count = 0;
        for (std::int32_t more = 1; more != 0; all.append(piece.data(), count)) {
            good = provider.read(piece.data(), piece.size(), &count, &more);
        }
        return all;
    };
    EXPECT_EQ(send("/echo", "POST"), 200);
    HttpProviderCURL::HeaderList list{{"junk", ""}};
    EXPECT_TRUE(provider.headerList(list));
    EXPECT_THAT(list, testing::ElementsAre(testing::Pair("Content-Length", testing::_)));
    const std::string answer = read();
    EXPECT_TRUE(good);
    EXPECT_THAT(answer, HasSubstr("X-A: 2\r\n"));
    EXPECT_TRUE(answer.ends_with("\r\n\r\nbody"));
    provider.reset();
    send("/cut", "GET");
    EXPECT_EQ(read().size(), 100U);
    EXPECT_FALSE(good);
    EXPECT_EQ(statusOf(provider), -1);
}

TEST_F(HttpTransportTest, HandlerServesWholeRequestsAndNeedsItsPlatform) {
    Bytes response = tests::bytesOf("junk");
    EXPECT_EQ(handler_.httpGet(server_.plain("/ok"), {}, headers_, response, false, nullptr, nullptr), -1);
    EXPECT_TRUE(response.empty() && headers_.empty()) << "plain http is refused";
    const std::string echo = server_.plain("/echo");
    EXPECT_TRUE(handler_.postUrl(echo, tests::bytesOf("body"), response, true, nullptr));
    EXPECT_TRUE(tests::textOf(response).ends_with("\r\n\r\nbody"));
    EXPECT_FALSE(handler_.postUrl(server_.plain("/redirect"), {}, response, true, nullptr));
    EXPECT_EQ(handler_.httpProvider(), nullptr);
    EXPECT_NE(dockset::PlatformWin32(nullptr).createHttpProvider(), nullptr);

    agent::AgentWin32HttpHandler lost(nullptr);
    EXPECT_FALSE(lost.getUrlCached(echo, response, nullptr, true, true, true, nullptr, nullptr));
    EXPECT_FALSE(lost.postUrl(echo, {}, response, true, nullptr));
    EXPECT_EQ(lost.httpGet(echo, {}, headers_, response, true, nullptr, nullptr), -2);
}

}  // namespace
