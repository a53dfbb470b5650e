#include "platform/platform_win32.h"

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/http_handler_win32.h"
#include "captured_log.h"
#include "fault_server.h"
#include "temp_session.h"
#include "win32/error.h"
#include "win32/script.h"

namespace {

using base::Bytes;
using base::HttpHeaders;
using tests::Lines;

class PlatformWin32Test : public testing::Test {
protected:
    ~PlatformWin32Test() override { win32::script::reset(); }

    void configureLanguage(const std::string& text) const {
        const auto directory = session_.path() / "home/Documents/Tavrin/Zelmo Dockset";
        boost::filesystem::create_directories(directory);
        std::ofstream((directory / "zd-config.xml").string())
            << "<config><localization><language-code>" << text << "</language-code></localization></config>";
    }

    tests::TempSession session_;
    tests::EnvironmentSetting languages_{"LANGUAGE", "de:fr_CA"};
    tests::EnvironmentSetting all_{"LC_ALL", nullptr};
    tests::EnvironmentSetting messages_{"LC_MESSAGES", nullptr};
    tests::EnvironmentSetting language_{"LANG", "de_AT.UTF-8"};
    tests::CapturedLog log_;
};

TEST_F(PlatformWin32Test, NamesTheUsersLocales) {
    configureLanguage("default");
    dockset::PlatformWin32 platform(nullptr);
    log_.take();
    EXPECT_EQ(platform.getPreferredLocales(), (Lines{"de", "fr-CA", "de-AT"}));
    EXPECT_EQ(log_.take(), (Lines{"getPreferredLocales Found locale de", "getPreferredLocales Found locale fr-CA",
                                  "getPreferredLocales Found locale de-AT", "getPreferredLocales 3 locales found"}));
    EXPECT_EQ(platform.getLocale(), "de-AT");
    EXPECT_EQ(log_.take(), Lines{"getLocale Found locale de-AT"});
    win32::script::failNext("GetUserPreferredUILanguages", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(platform.getPreferredLocales(), Lines{"de-AT"});
    EXPECT_EQ(log_.take(),
              (Lines{"getPreferredLocales GetUserPreferredUILanguages failed with 8", "getLocale Found locale de-AT"}));
    win32::script::failNext("GetLocaleInfoA", ERROR_INVALID_PARAMETER);
    win32::script::failNext("GetLocaleInfoA", ERROR_INVALID_PARAMETER, 1);
    EXPECT_EQ(platform.getLocale(), "en-US");
    EXPECT_EQ(platform.getLocale(), "en-US");
    EXPECT_EQ(log_.take(),
              (Lines{"getLocale LOCALE_SISO639LANGNAME failed", "getLocale LOCALE_SISO3166CTRYNAME failed"}));
}

TEST_F(PlatformWin32Test, TakesTheConfigurationsWordOnTheLanguage) {
    configureLanguage("fr-CA");
    dockset::PlatformWin32 platform(nullptr);
    EXPECT_EQ(platform.getPreferredLocales(), Lines{"fr-CA"});
    EXPECT_EQ(platform.getLocale(), "fr-CA");
    EXPECT_EQ(log_.lines(), Lines());
}

TEST_F(PlatformWin32Test, CarriesRequestsThroughTheHandler) {
    curl_global_init(CURL_GLOBAL_ALL);
    const tests::FaultServer server;
    agent::AgentWin32HttpHandler handler;
    HttpHeaders headers;
    Bytes response;
    std::string detail = "earlier";
    const auto text = [&response] { return std::string(response.begin(), response.end()); };
    const Bytes body{'b', 'o', 'd', 'y'};
    EXPECT_EQ(handler.httpGet(server.plain("/echo"), {{"X-A", "1"}}, headers, response, true, nullptr, &detail), 200);
    EXPECT_THAT(text(), testing::AllOf(testing::StartsWith("GET "), testing::HasSubstr("X-A: 1\r\n")));
    EXPECT_EQ(detail, "");
    EXPECT_EQ(handler.httpPost(server.plain("/echo"), {}, body, headers, response, true, nullptr), 200);
    EXPECT_THAT(text(), testing::AllOf(testing::StartsWith("POST "), testing::EndsWith("\r\n\r\nbody")));
    EXPECT_EQ(handler.httpPut(server.plain("/echo"), {}, body, headers, response, true, nullptr), 200);
    EXPECT_THAT(text(), testing::StartsWith("PUT "));
    EXPECT_EQ(handler.httpDelete(server.plain("/echo"), {}, headers, response, true, nullptr), 200);
    EXPECT_THAT(text(), testing::StartsWith("DELETE "));
    EXPECT_EQ(handler.httpGet(server.plain("/ok"), {}, headers, response, false, nullptr, nullptr), -1);
    EXPECT_TRUE(response.empty() && headers.empty());
    EXPECT_TRUE(handler.postUrl(server.plain("/echo"), body, response, true, nullptr));
    EXPECT_FALSE(handler.postUrl(server.plain("/redirect"), body, response, true, nullptr));
    bool fresh = false;
    for (int round = 0; round < 2; ++round) {
        const std::string url = server.plain("/conditional");
        EXPECT_TRUE(handler.getUrlCached(url, response, &fresh, true, true, true, nullptr, &detail));
        EXPECT_EQ(text() + (fresh ? " fresh" : " stale"), "list fresh");
    }
    EXPECT_EQ(handler.httpProvider(), nullptr);
    EXPECT_NE(dockset::PlatformWin32(nullptr).createHttpProvider(), nullptr);
}

TEST(HttpHandler, CantWorkWithoutAPlatform) {
    agent::AgentWin32HttpHandler handler(nullptr);
    HttpHeaders headers;
    Bytes response;
    EXPECT_FALSE(handler.getUrlCached("https://u", response, nullptr, true, true, false, nullptr, nullptr));
    EXPECT_FALSE(handler.postUrl("https://u", {}, response, false, nullptr));
    EXPECT_EQ(handler.httpPost("https://u", {}, {}, headers, response, false, nullptr), -2);
    EXPECT_EQ(handler.httpPut("https://u", {}, {}, headers, response, false, nullptr), -2);
    EXPECT_EQ(handler.httpGet("https://u", {}, headers, response, false, nullptr, nullptr), -2);
    EXPECT_EQ(handler.httpDelete("https://u", {}, headers, response, false, nullptr), -2);
}

}  // namespace
