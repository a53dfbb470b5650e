// Pinned keys: which, from which files, and what they make of real chains.
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include "certificates.h"
#include "net/curl_callbacks.h"
#include "net/installed_pins.h"
#include "temp_directory.h"

namespace {

using base::Bytes;
using base::CertificateSet;
using base::InstalledPins;
using tests::Certificate;
using tests::derOf;
using tests::Identity;
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
            X509_STORE_add_cert(trusted.get(), tests::certify(root_, root_).get());
        }
        const std::shared_ptr<STACK_OF(X509)> others(
            sk_X509_new_null(), [](STACK_OF(X509) * stack) { sk_X509_pop_free(stack, X509_free); });
        const Certificate intermediate = tests::certify(intermediate_, root_);
        X509_up_ref(intermediate.get());
        sk_X509_push(others.get(), intermediate.get());
        const std::shared_ptr<X509_STORE_CTX> check(X509_STORE_CTX_new(), X509_STORE_CTX_free);
        X509_STORE_CTX_init(check.get(), trusted.get(), leaf.get(), others.get());
        X509_STORE_CTX_set_ex_data(check.get(), SSL_get_ex_data_X509_STORE_CTX_idx(), ssl.get());
        X509_STORE_CTX_set_verify_cb(check.get(), base::onVerifyCertificate);
        return X509_verify_cert(check.get()) == 1;
    }
    bool verify() { return verify(tests::certify(leaf_, intermediate_)); }
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
    EXPECT_FALSE(verify(tests::certify(leaf_, intermediate_), false)) << "nobody trusts its root";
    EXPECT_TRUE(record_.pinMatched && !record_.pinRejected);
    renew({derOf(leaf_.key)});
    EXPECT_FALSE(verify(tests::certify(leaf_, {intermediate_.subject, root_.key}))) << "its signature is wrong";
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

}  // namespace
