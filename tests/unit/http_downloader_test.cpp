// Downloads from a real server, good and bad.
#include "update/http_downloader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/pem.h>

#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <future>
#include <set>
#include <thread>

#include "base/directories.h"
#include "captured_log.h"
#include "certificates.h"
#include "fault_server.h"
#include "manifests.h"
#include "net/installed_pins.h"
#include "temp_session.h"
#include "update/launcher.h"
#include "update/update_handler.h"

namespace {

using base::HttpDownloader;
using testing::Contains;
using testing::Not;

constexpr std::size_t limit = 200'000;

struct OneManifest : base::Downloader {
    void download(std::string, base::Bytes& bytes, const base::ProgressCallback& callback) override {
        bytes = manifest;
        callback(1, 1, base::Success);
    }
    void cancel() override {}
    base::Bytes manifest;
};

class HttpDownloaderTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        curl_global_init(CURL_GLOBAL_ALL);
        server_ = new tests::FaultServer;
    }
    static void TearDownTestSuite() { delete server_; }
    HttpDownloaderTest() {
        const std::shared_ptr<BIO> file(BIO_new_file(server_->rootFile().c_str(), "r"), BIO_free);
        const tests::Certificate root(PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        pinned_.write("tavrin.pem", tests::pemOf(tests::Key(X509_get_pubkey(root.get()), EVP_PKEY_free)));
        base::certificatePins().publish(pins_);
    }

    // The server's address, under a name whose keys are pinned.
    static std::string pinned(const std::string& path) {
        std::string url = server_->secure(path);
        return url.replace(url.find("127.0.0.1"), 9, "tavrin.localhost");
    }
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

    static inline tests::FaultServer* server_ = nullptr;
    tests::TempSession session_;
    tests::EnvironmentSetting file_{"SSL_CERT_FILE", server_->rootFile().c_str()};
    tests::EnvironmentSetting directory_{"SSL_CERT_DIR", "/nowhere"};
    tests::EnvironmentSetting noProxy_{"no_proxy", "*"};
    tests::TempDirectory pinned_;
    std::shared_ptr<base::InstalledPins> pins_ = std::make_shared<base::InstalledPins>(pinned_.path());
    tests::CapturedLog log_;
    base::Bytes bytes_;
};

TEST_F(HttpDownloaderTest, TakesWhatAPinnedServerGives) {
    EXPECT_EQ(download(pinned("/ok")), base::Success);
    EXPECT_EQ(std::string(bytes_.begin(), bytes_.end()), "hello");
    EXPECT_EQ(download(pinned("/announced")), base::Success);
    EXPECT_EQ(bytes_.size(), 100'000U);
    EXPECT_EQ(bytes_.capacity(), 100'000U) << "room is made for all of it at once";
    EXPECT_EQ(download(pinned("/bare")), base::Success);
    EXPECT_EQ(bytes_.capacity(), limit) << "and for all that it may be where its length isn't announced";
}

TEST_F(HttpDownloaderTest, AsksNobodyElse) {
    std::string elsewhere = server_->secure("/ok");
    elsewhere.replace(elsewhere.find("127.0.0.1"), 9, "localhost");
    std::string plain = pinned("/ok");
    plain.erase(4, 1);
    for (const std::string& url : {elsewhere, server_->secure("/ok"), plain, server_->plain("/ok"),
                                   pinned("/ok?google-analytics"), std::string("file:///etc/passwd"), std::string(),
                                   std::string("../../zdsetup.exe"), "HTTPS" + pinned("/ok").substr(5)}) {
        EXPECT_EQ(download(url), base::DownloadFailed) << url;
        EXPECT_EQ(log_.take(), tests::Lines{"autoupdate Refused to fetch from an address without pinned keys: " + url});
    }
    // A user name that looks like ours doesn't make the host ours.
    std::string disguised = pinned("/ok");
    disguised.replace(disguised.find("tavrin.localhost"), 16, "tavrin@127.0.0.1");
    const tests::TempDirectory others;
    others.write("tavrin.pem", tests::pemOf(tests::rsaKey()));
    const auto wrong = std::make_shared<base::InstalledPins>(others.path());
    base::certificatePins().publish(wrong);
    EXPECT_EQ(download(disguised), base::DownloadFailed);
    EXPECT_EQ(download(pinned("/ok")), base::DownloadFailed);
}

TEST_F(HttpDownloaderTest, TakesNoBrokenOrMovedAnswer) {
    for (const char* const path : {"/missing", "/redirect", "/cut", "/reset", "/nothing", "/garbage", "/long"}) {
        EXPECT_EQ(download(pinned(path)), base::DownloadFailed) << path;
    }
    EXPECT_THAT(log_.lines(), Not(Contains(testing::HasSubstr("/ok"))));
}

TEST_F(HttpDownloaderTest, TakesNoMoreThanItsLimit) {
    HttpDownloader downloader(limit);
    for (const char* const path : {"/endless", "/large"}) {
        EXPECT_EQ(download(pinned(path), downloader), base::DownloadFailed) << path;
        EXPECT_EQ(log_.take().back(), "autoupdate More than 200000 bytes come from " + pinned(path));
    }
    EXPECT_EQ(download(pinned("/ok"), downloader), base::Success) << "the next one begins afresh";
}

TEST_F(HttpDownloaderTest, GivesAServerUpThatSendsNextToNothing) {
    for (const char* const path : {"/drip", "/silent"}) {
        HttpDownloader downloader(limit, std::chrono::milliseconds(500));
        EXPECT_EQ(download(pinned(path), downloader), base::DownloadFailed);
        EXPECT_EQ(log_.take().back(), "autoupdate Next to nothing comes from " + pinned(path));
    }
}

// Each attack is a manifest of its own, well signed.
TEST_F(HttpDownloaderTest, ManifestsThatNameBadAddressesBringNothing) {
    namespace fs = boost::filesystem;
    const tests::Key key = tests::rsaKey();
    pinned_.write("key.pem", tests::pemOf(key));
    const auto server = std::make_shared<OneManifest>();
    base::UpdateHandler handler({server,
                                 std::make_shared<HttpDownloader>(limit, std::chrono::milliseconds(500)),
                                 std::make_shared<base::LauncherWin>(),
                                 {{"", ""}},
                                 std::make_shared<dockset::AppSettings>(),
                                 pinned_.file("key.pem")});
    const auto fetch = [&](const std::string& url) {
        server->manifest =
            tests::bytesOf(tests::signedManifest({{.url = url, .signature = tests::signatureOf("hello", key)}}, key));
        std::promise<base::ResultCode> outcome;
        handler.enqueue([&] {
            handler.checkForUpdate([](std::size_t, std::size_t, base::ResultCode) { return false; });
            handler.fetchInstaller([&](std::size_t, std::size_t, base::ResultCode code) {
                return code == base::InProgress || (outcome.set_value(code), false);
            });
        });
        return outcome.get_future().get();
    };
    const fs::path support = base::applicationDirectory(base::ApplicationSupport);
    for (const std::string& url :
         tests::Lines{pinned("/endless"), pinned("/drip"), pinned("/redirect"), server_->secure("/ok"),
                      server_->plain("/ok"), "file://" + server_->rootFile(), "..\\..\\evil.exe", ""}) {
        EXPECT_EQ(fetch(url), base::DownloadFailed) << url;
        EXPECT_FALSE(fs::exists(support / "autoupdate")) << url;
    }
    // What stands in an address never becomes part of a file's name.
    EXPECT_EQ(fetch(pinned("/../../ok#/../../evil.exe")), base::Success);
    std::set<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(support)) {
        names.insert(entry.path().filename().string());
    }
    EXPECT_EQ(names, (std::set<std::string>{"app_settings.json", "autoupdate", "updateversion.json", "zdsetup.exe"}));
}

TEST_F(HttpDownloaderTest, EndsSoonWhenCancelled) {
    for (const char* const path : {"/drip", "/silent"}) {
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
