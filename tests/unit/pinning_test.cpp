// Pinned keys: which, from which files, and what they make of real chains and handshakes.
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <thread>

#include "captured_events.h"
#include "captured_log.h"
#include "certificates.h"
#include "fault_server.h"
#include "net/curl_callbacks.h"
#include "net/http_provider_curl.h"
#include "net/installed_pins.h"
#include "net/perform_request.h"
#include "temp_session.h"

namespace {

using base::Bytes;
using base::CertificateSet;
using base::InstalledPins;
using tests::Certificate;
using tests::derOf;
using tests::Identity;
using tests::Lines;
using Keys = std::vector<Bytes>;

TEST(CertificateSetTest, FollowsFromTheHostAlone) {
    const std::pair<const char*, CertificateSet> sets[] = {
        {"https://download.tavrin.test/list", CertificateSet::Tavrin},
        {"https://tavrin:8443/google", CertificateSet::Tavrin},
        {"https://google.tavrin.test", CertificateSet::Tavrin},
        {"https://www.google.test:443/tavrin", CertificateSet::Google},
        {"https://www.TAVRIN.test/", CertificateSet::Unspecified},
        {"https://example.test/google?tavrin", CertificateSet::Unspecified},
        {"https://example.test:tavrin/", CertificateSet::Unspecified}};
    for (const auto& [url, set] : sets) {
        EXPECT_EQ(base::certificateSetFor(url), set) << url;
    }
    constexpr auto other = static_cast<CertificateSet>(7);
    EXPECT_STREQ(base::displayText(CertificateSet::Tavrin), "Tavrin");
    EXPECT_STREQ(base::displayText(other), "unknown");
    EXPECT_TRUE(base::certificateFileNames(CertificateSet::Unspecified).empty());
    EXPECT_TRUE(base::certificateFileNames(other).empty());
}

TEST(InstalledPinsTest, ReadsEachSetOnce) {
    ERR_clear_error();
    const tests::Key first = tests::rsaKey();
    const tests::Key second = tests::rsaKey();
    const tests::TempDirectory files;
    files.write("tavrin.pem", "garbage");
    files.write("tavrin2.pem", tests::pemOf(second));
    files.write("tavrin3.pem", tests::pemOf(first));
    InstalledPins pins(files.path());
    EXPECT_EQ(pins.pinnedKeysFor(CertificateSet::Google), Keys()) << "there is no file";
    files.write("GlobalSignECCR4.pem", tests::pemOf(tests::ecKey()));
    files.write("GTSR1.pem", "");
    files.write("GTSR2.pem", tests::pemOf(tests::publicRsaKey(40000)));
    files.write("GTSR3.pem", tests::pemOf(tests::publicRsaKey(32000)));
    EXPECT_EQ(pins.pinnedKeysFor(CertificateSet::Google), Keys());
    InstalledPins later(files.path());
    EXPECT_EQ(later.pinnedKeysFor("https://google.test/"), Keys{derOf(tests::publicRsaKey(32000))});

    EXPECT_EQ(pins.pinnedKeysFor(CertificateSet::Tavrin), (Keys{derOf(second), derOf(first)}));
    files.write("tavrin2.pem", tests::pemOf(first));
    EXPECT_EQ(pins.pinnedKeysFor(CertificateSet::Tavrin), (Keys{derOf(second), derOf(first)}));
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(InstalledPinsTest, HasThePackagedKeys) {
    InstalledPins pins(LOCALES_DIRECTORY "/../certificates/zd");
    EXPECT_EQ(pins.pinnedKeysFor(CertificateSet::Tavrin).size(), 3U);
    EXPECT_GE(pins.pinnedKeysFor(CertificateSet::Google).size(), 2U);
}

// A root, an intermediate and a leaf, checked by OpenSSL as in a handshake of the request whose record this is.
class VerifyCallbackTest : public testing::Test {
protected:
    VerifyCallbackTest() { SSL_CTX_set_ex_data(context_.get(), 0, &record_); }

    bool verify(const Certificate& leaf, bool trustsRoot = true) {
        const std::shared_ptr<SSL> ssl(SSL_new(context_.get()), SSL_free);
        const std::shared_ptr<X509_STORE> trusted(X509_STORE_new(), X509_STORE_free);
        if (trustsRoot) {
            X509_STORE_add_cert(trusted.get(), certificateOf(root_, root_).get());
        }
        const std::shared_ptr<STACK_OF(X509)> others(
            sk_X509_new_null(), [](STACK_OF(X509) * stack) { sk_X509_pop_free(stack, X509_free); });
        const Certificate intermediate = certificateOf(intermediate_, root_);
        X509_up_ref(intermediate.get());
        sk_X509_push(others.get(), intermediate.get());
        const std::shared_ptr<X509_STORE_CTX> check(X509_STORE_CTX_new(), X509_STORE_CTX_free);
        X509_STORE_CTX_init(check.get(), trusted.get(), leaf.get(), others.get());
        X509_STORE_CTX_set_ex_data(check.get(), SSL_get_ex_data_X509_STORE_CTX_idx(), ssl.get());
        X509_STORE_CTX_set_verify_cb(check.get(), base::onVerifyCertificate);
        return X509_verify_cert(check.get()) == 1;
    }
    bool verify() { return verify(certificateOf(leaf_, intermediate_)); }
    static Certificate certificateOf(const Identity& subject, const Identity& issuer) {
        return tests::certify(subject, issuer);
    }
    void renew(const Keys& keys) {
        record_.pinnedKeys = keys;
        record_.pinMatched = record_.pinRejected = false;
        record_.chainText.clear();
        record_.chainIssuer.clear();
    }

    Identity root_{{{"CN", "Root"}}, tests::rsaKey()};
    Identity intermediate_{{{"O", "Nameless"}}, tests::rsaKey()};
    Identity leaf_{{{"CN", "Leaf"}}, tests::rsaKey()};
    std::shared_ptr<SSL_CTX> context_{SSL_CTX_new(TLS_client_method()), SSL_CTX_free};
    base::HTTPReqInfo record_;
};

TEST_F(VerifyCallbackTest, OneKeyOfTheChainIsEnough) {
    for (const Identity* const pinned : {&leaf_, &intermediate_, &root_}) {
        renew({Bytes(5000, 1), derOf(tests::ecKey()), derOf(pinned->key)});
        EXPECT_TRUE(verify());
        EXPECT_TRUE(record_.pinMatched && !record_.pinRejected);
    }
    renew({});
    EXPECT_TRUE(verify() && record_.pinMatched) << "no keys: any chain";
    renew({{1}});
    record_.noPinning = true;
    EXPECT_TRUE(verify() && !record_.pinMatched);
    SSL_CTX_set_ex_data(context_.get(), 0, nullptr);
    EXPECT_TRUE(verify()) << "no record";
}

TEST_F(VerifyCallbackTest, RejectsAndTellsOfTheFirstChain) {
    ERR_clear_error();
    renew({derOf(tests::rsaKey())});
    EXPECT_FALSE(verify());
    EXPECT_TRUE(record_.pinRejected && !record_.pinMatched);
    EXPECT_EQ(record_.chainText, "Leaf --  -- Root");
    EXPECT_EQ(record_.chainIssuer, "Root");
    leaf_.subject = {{"CN", "Other"}};
    EXPECT_FALSE(verify());
    EXPECT_EQ(record_.chainText, "Leaf --  -- Root");
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST_F(VerifyCallbackTest, AMatchMakesNoChainValid) {
    renew({derOf(leaf_.key)});
    EXPECT_FALSE(verify(certificateOf(leaf_, intermediate_), false)) << "nobody trusts its root";
    EXPECT_TRUE(record_.pinMatched && !record_.pinRejected);
    renew({derOf(leaf_.key)});
    EXPECT_FALSE(verify(certificateOf(leaf_, {intermediate_.subject, root_.key}))) << "its signature is wrong";
}

TEST_F(VerifyCallbackTest, OtherAndOversizedKeysMatchNothing) {
    root_.key = intermediate_.key = leaf_.key = tests::ecKey();
    renew({derOf(leaf_.key)});
    EXPECT_FALSE(verify());
    EXPECT_TRUE(record_.pinRejected);
    leaf_.key = tests::publicRsaKey(40000);
    renew({derOf(leaf_.key)});
    EXPECT_FALSE(verify());
    EXPECT_TRUE(record_.pinRejected);
}

TEST(PinnedHandshakeTest, IsRefusedWithoutAPinnedKey) {
    curl_global_init(CURL_GLOBAL_ALL);
    const tests::TempSession session;
    const tests::FaultServer server;
    const tests::EnvironmentSetting file("SSL_CERT_FILE", server.rootFile().c_str());
    const tests::EnvironmentSetting directory("SSL_CERT_DIR", "/nowhere");
    const tests::EnvironmentSetting noProxy("no_proxy", "*");
    const tests::CapturedEvents events;
    const tests::CapturedLog log;
    std::string url = server.secure("/ok");
    url.replace(url.find("127.0.0.1"), 9, "tavrin.localhost");
    std::string detail;
    const auto request = [&](const std::shared_ptr<InstalledPins>& pins) {
        base::certificatePins().publish(pins);
        base::HttpHeaders headers;
        Bytes response;
        return base::runHttpRequest("GET", url, {}, {}, headers, response, false, nullptr, &detail);
    };
    const tests::TempDirectory files;
    EXPECT_EQ(request(std::make_shared<InstalledPins>(files.path())), 200) << "no keys are installed";

    files.write("tavrin2.pem", tests::pemOf(tests::rsaKey()));
    const auto wrong = std::make_shared<InstalledPins>(files.path());
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_EQ(request(wrong), -1);
        EXPECT_EQ(detail, "pinning:Test Root");
        EXPECT_THAT(
            log.lines(),
            testing::Contains("CURLHTTP curl_easy_perform returned SSL peer certificate or SSH remote key was not OK"));
    }
    const std::string event = "CertificatePinning/Failed/PinningFailed/6=" + url + "/7=Test Root";
    EXPECT_EQ(events.lines(), (Lines{event, event}));

    const std::shared_ptr<BIO> rootFile(BIO_new_file(server.rootFile().c_str(), "r"), BIO_free);
    const Certificate root(PEM_read_bio_X509(rootFile.get(), nullptr, nullptr, nullptr), X509_free);
    const tests::Key serverKey(X509_get_pubkey(root.get()), EVP_PKEY_free);
    files.write("tavrin3.pem", tests::pemOf(serverKey));
    const auto right = std::make_shared<InstalledPins>(files.path());
    EXPECT_EQ(request(right), 200);
    EXPECT_EQ(detail, "");

    base::HTTPReqInfo record;
    record.pinMatched = true;
    const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    base::onSslContext(nullptr, context.get(), &record);
    EXPECT_FALSE(record.pinMatched) << "each connection of a request has to show a pinned key";
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&, number] {
            base::HttpProviderCURL provider;
            provider.open(server.secure("/ok"), "GET");
            provider.addPinnedKeys({number == 0 ? Bytes{1} : derOf(serverKey)});
            provider.send({}, 0, nullptr);
            std::int32_t status = 0;
            provider.statusCode(&status);
            EXPECT_EQ(status, number == 0 ? -1 : 200);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
