// Downloads from a real server, good and bad.
#include "update/http_downloader.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <future>
#include <thread>

#include "captured_log.h"
#include "fault_server.h"
#include "net/installed_pins.h"

namespace {

using base::HttpDownloader;
using tests::Lines;

constexpr std::size_t limit = 200'000;

class HttpDownloaderTest : public testing::Test {
protected:
    static void SetUpTestSuite() { curl_global_init(CURL_GLOBAL_ALL); }
    HttpDownloaderTest() {
        pinned_.write("tavrin.pem", tests::pemOf(session_.server.publicKey()));
        base::certificatePins().publish(pins_);
    }

    std::string pinned(const std::string& path) const { return session_.server.pinned(path); }
    base::ResultCode download(const std::string& url, HttpDownloader& downloader) {
        base::ResultCode final = base::InProgress;
        downloader.download(url, bytes_, [&](std::size_t done, std::size_t total, base::ResultCode code) {
            EXPECT_EQ(final, base::InProgress) << "nothing comes after the final call";
            EXPECT_TRUE(code == base::InProgress || (done == 1 && total == (code == base::Success ? 1U : 0U)));
            final = code;
            return false;
        });
        EXPECT_TRUE(final == base::Success || bytes_.empty());
        return final;
    }
    base::ResultCode download(const std::string& url) {
        HttpDownloader downloader(limit);
        return download(url, downloader);
    }

    const tests::ServedSession session_;
    const tests::TempDirectory pinned_;
    std::shared_ptr<base::InstalledPins> pins_ = std::make_shared<base::InstalledPins>(pinned_.path());
    tests::CapturedLog log_;
    base::Bytes bytes_;
};

TEST_F(HttpDownloaderTest, TakesWhatAPinnedServerGives) {
    EXPECT_EQ(download(pinned("/ok")), base::Success);
    EXPECT_EQ(tests::textOf(bytes_), "hello");
    EXPECT_EQ(download(pinned("/announced")), base::Success);
    EXPECT_EQ(bytes_.size(), 100'000U);
    EXPECT_EQ(bytes_.capacity(), 100'000U) << "room is made for all of it at once";
    EXPECT_EQ(download(pinned("/bare?ended")), base::Success);
    EXPECT_EQ(bytes_.capacity(), limit) << "and for all that it may be where its length isn't announced";
}

TEST_F(HttpDownloaderTest, AsksNobodyElse) {
    const tests::FaultServer& server = session_.server;
    const std::string ours = pinned("/ok").substr(5);
    for (const std::string& url :
         {server.secure("/ok"), "http" + ours, "HTTPS" + ours, server.plain("/ok"), pinned("/ok?google-analytics"),
          std::string("file:///etc/passwd"), std::string(), std::string("../x.exe")}) {
        EXPECT_EQ(download(url), base::DownloadFailed) << url;
        EXPECT_EQ(log_.take(), Lines{"autoupdate Refused to fetch from an address without pinned keys: " + url});
    }
    const tests::TempDirectory others;
    others.write("tavrin.pem", tests::pemOf(tests::rsaKey()));
    const auto wrong = std::make_shared<base::InstalledPins>(others.path());
    base::certificatePins().publish(wrong);
    EXPECT_EQ(download(pinned("/ok")), base::DownloadFailed);
    // A user name that looks like ours doesn't make the host ours.
    EXPECT_EQ(download(server.secure("/ok").insert(8, "tavrin@")), base::DownloadFailed);
}

TEST_F(HttpDownloaderTest, TakesNoBrokenMovedOrEndlessAnswer) {
    for (const char* const path : {"/missing", "/redirect", "/cut", "/reset", "/nothing", "/garbage", "/long"}) {
        EXPECT_EQ(download(pinned(path)), base::DownloadFailed) << path;
    }
    HttpDownloader downloader(limit);
    for (const char* const path : {"/endless", "/large"}) {
        EXPECT_EQ(download(pinned(path), downloader), base::DownloadFailed) << path;
        EXPECT_EQ(log_.take().back(), "autoupdate More than 200000 bytes come from " + pinned(path));
    }
    EXPECT_EQ(download(pinned("/ok"), downloader), base::Success) << "the next one begins afresh";
}

TEST_F(HttpDownloaderTest, GivesASlowServerUpAndEndsSoonWhenCancelled) {
    for (const char* const path : {"/drip", "/silent"}) {
        HttpDownloader impatient(limit, std::chrono::milliseconds(500));
        EXPECT_EQ(download(pinned(path), impatient), base::DownloadFailed);
        EXPECT_EQ(log_.take().back(), "autoupdate Next to nothing comes from " + pinned(path));

        HttpDownloader downloader(limit);
        auto result = std::async(std::launch::async, [&] { return download(pinned(path), downloader); });
        while (log_.lines().empty()) {
            std::this_thread::yield();
        }
        const auto begin = std::chrono::steady_clock::now();
        downloader.cancel();
        EXPECT_EQ(result.get(), base::DownloadFailed);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4)) << path;
        EXPECT_EQ(download(pinned("/drip"), downloader), base::DownloadFailed) << "and so does every later one";
        log_.take();
    }
}

}  // namespace
