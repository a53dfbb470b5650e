// The check with the system's certificate operations: its verdicts, and each line of the log.

#include <deque>

#include "captured_events.h"
#include "certificates.h"
#include "net/certificate_verify_win.h"
#include "session_test.h"

namespace {

using base::CertificateSet;
using base::CertificateVerifyWin;
using tests::derOf;
using tests::Lines;

// A chain in the system's form, of certificates that sign themselves.
class Chain {
public:
    explicit Chain(const std::vector<tests::Identity>& identities) {
        for (const tests::Identity& identity : identities) {
            add(identity);
        }
        chain_.cElement = static_cast<DWORD>(pointers_.size());
        chain_.rgpElement = pointers_.data();
        context_.cChain = 1;
        context_.rgpChain = &first_;
    }
    const CERT_CHAIN_CONTEXT* context() const { return &context_; }

private:
    struct Element {
        std::vector<BYTE> encoded;
        std::vector<BYTE> key;
        CERT_INFO info{};
        CERT_CONTEXT certificate{};
        CERT_CHAIN_ELEMENT element{};
    };

    void add(const tests::Identity& identity) {
        Element& element = elements_.emplace_back();
        const tests::Certificate certificate = tests::certify(identity, identity);
        element.encoded = derOf(certificate);
        const ASN1_BIT_STRING* const key = X509_get0_pubkey_bitstr(certificate.get());
        element.key.assign(key->data, key->data + key->length);
        element.info.SubjectPublicKeyInfo.PublicKey = {static_cast<DWORD>(element.key.size()), element.key.data(), 0};
        element.certificate = {X509_ASN_ENCODING, element.encoded.data(), static_cast<DWORD>(element.encoded.size()),
                               &element.info, nullptr};
        element.element.pCertContext = &element.certificate;
        pointers_.push_back(&element.element);
    }

    std::deque<Element> elements_;  // which keep their places
    std::vector<PCERT_CHAIN_ELEMENT> pointers_;
    CERT_SIMPLE_CHAIN chain_{};
    PCERT_SIMPLE_CHAIN first_ = &chain_;
    CERT_CHAIN_CONTEXT context_{};
};

tests::Identity named(const char* field, const char* text) { return {{{field, text}}, tests::ecKey()}; }
tests::Identity nameless() { return {{}, tests::ecKey()}; }

class CertificateVerifyTest : public tests::SessionTest {
protected:
    // Those of the events aside.
    Lines takeLines() {
        Lines lines = log_.take();
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("analytics "); });
        return lines;
    }

    const std::string url_ = "https://tavrin.test/";
    const std::string other_ = "https://example.test/";
    const std::string unpinned_ = "https://google.test/";
    const tests::Key key_ = tests::rsaKey();
    const Chain bad_{{named("CN", "Leaf"), nameless(), named("O", "Root")}};
    const Chain good_{{named("CN", "Leaf"), {nameless().subject, key_}}};
    const tests::TempDirectory files_;
    const tests::CapturedEvents events_;
    CertificateVerifyWin verify_{files_.path()};
};

TEST_F(CertificateVerifyTest, LogsWhyAKeyFileHoldsNoKey) {
    EXPECT_TRUE(verify_.GetPublicKeys(CertificateSet::Unspecified).empty());
    EXPECT_EQ(log_.take(), Lines{"Certificate Unknown certificate for GetPublicKeys."});
    files_.write("tavrin.pem", tests::pemOf(key_));
    files_.write("tavrin2.pem", "");
    EXPECT_EQ(verify_.GetPublicKeys(CertificateSet::Tavrin).size(), 1U);
    EXPECT_EQ(log_.take(), (Lines{"Certificate Failed to read public key file (0 bytes): tavrin2.pem",
                                  "Certificate Failed to open public key file: tavrin3.pem"}));
    EXPECT_EQ(verify_.GetPublicKeys(CertificateSet::Tavrin).size(), 1U);
    EXPECT_EQ(log_.take(), Lines{}) << "read once";
}

TEST_F(CertificateVerifyTest, AsksTheHandleForItsChain) {
    int request = 0;
    const HINTERNET handle = &request;
    const HINTERNET none = nullptr;
    const auto verify = [&](const std::string& url, bool good, const HINTERNET* asked, const Lines& lines) {
        EXPECT_EQ(verify_.verifyWithHandle(url, asked), good);
        Lines expected{"Certificate Validating (w/ platformInfo): " + url};
        expected.insert(expected.end(), lines.begin(), lines.end());
        EXPECT_EQ(takeLines(), expected);
    };
    verify(other_, false, &handle, {"Certificate Failed to deduce certificate to use for URL: " + other_});
    EXPECT_FALSE(verify_.verifyWithHandle(unpinned_, &handle));
    EXPECT_EQ(takeLines().back(), "Certificate No pinned keys for URL: " + unpinned_);
    for (const char* const name : {"tavrin.pem", "tavrin2.pem", "tavrin3.pem"}) {
        files_.write(name, tests::pemOf(key_));
    }
    verify(url_, false, nullptr, {"Certificate Missing data to perform pinning for URL: " + url_});
    verify(url_, false, &none, {"Certificate Missing data to perform pinning for URL: " + url_});
    win32::script::failNext("InternetQueryOptionA", 12018);
    verify(url_, false, &handle, {"Certificate Failed to query certificate chain with 12018 for URL: " + url_});
    win32::script::answerChain(good_.context());
    verify(url_, true, &handle, {"Certificate Validated OK: " + url_});
    EXPECT_EQ(events_.lines(), Lines{});
    win32::script::answerChain(bad_.context());
    verify(url_, false, &handle,
           {"PinFailureCertChain Leaf -- Root", "Certificate No matching certificate found for: " + url_});
    EXPECT_EQ(events_.lines(), Lines{"CertificatePinning/RejectedCertChain/Tavrin/6=Leaf -- Root/7=" + url_});
    EXPECT_EQ(win32::script::calls("CertFreeCertificateChain").size(), 2U) << "both are given back";
}

}  // namespace
