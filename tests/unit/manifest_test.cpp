#include "update/manifest.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <chrono>
#include <random>
#include <regex>

#include "captured_log.h"
#include "manifests.h"
#include "temp_directory.h"
#include "update/signature.h"

namespace {

using base::Bytes;
using tests::Application;
using tests::bytesOf;
using tests::Lines;
using tests::manifestHead;
using tests::manifestTail;
using tests::signatureLine;
using tests::signatureOf;
using tests::signedManifest;

const Lines wrongSignature{"base DigestVerifyFinal failed", "autoupdate Failed to verify Zelmo Dockset manifest"};

class ManifestTest : public testing::Test {
protected:
    ManifestTest() { files_.write("key.pem", tests::pemOf(key_)); }

    // The final report; Success if there was none.
    base::ResultCode verify(const std::string& manifest) {
        base::ResultCode reported = base::Success;
        int calls = 0;
        const auto callback = [&](std::size_t done, std::size_t total, base::ResultCode code) {
            EXPECT_TRUE(done == 1 && total == 0 && ++calls == 1);
            reported = code;
            return false;
        };
        application_ = data::Value();
        ERR_clear_error();
        const bool good = base::verifyManifest(bytesOf(manifest), callback, application_, files_.file("key.pem"));
        EXPECT_EQ(good, calls == 0);
        EXPECT_EQ(ERR_peek_error(), 0U) << "errors left for the thread's next TLS connection";
        return reported;
    }
    std::string good(const std::vector<Application>& applications = {{}}) const {
        return signedManifest(applications, key_);
    }

    static inline const tests::Key key_ = tests::rsaKey();
    tests::TempDirectory files_;
    tests::CapturedLog log_;
    data::Value application_;
};

TEST(SignedBytesTest, AreThoseOfTheExpression) {
    const std::regex expression("[ \t]*<manifest-signature>[^<]*</manifest-signature>[ \t]*\n");
    // The zero is a byte as any other.
    const std::string one[] = {" ", "\t", "\n", "\r\n", "<", "x", "\xff", std::string(1, '\0')};
    std::vector<std::string> pieces(std::begin(one), std::end(one));
    pieces.insert(pieces.end(), {"<manifest-signature>", "</manifest-signature>"});
    std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts in each run
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (auto length = random() % 12; length > 0; --length) {
            text += pieces[random() % pieces.size()];
        }
        ASSERT_EQ(base::signedBytes(bytesOf(text)), bytesOf(std::regex_replace(text, expression, ""))) << text;
    }
}

TEST(SignedBytesTest, AreFoundInLinearTime) {
    const auto begin = std::chrono::steady_clock::now();
    const std::string blanks(1'000'000, ' ');
    EXPECT_EQ(base::signedBytes(bytesOf("a" + blanks + signatureLine("x"))), bytesOf("a"));
    EXPECT_EQ(base::signedBytes(bytesOf(signatureLine(blanks))), Bytes());
    std::string openings;
    for (int count = 0; count < 50'000; ++count) {
        openings += "<manifest-signature>  ";
    }
    EXPECT_EQ(base::signedBytes(bytesOf(openings)).size(), openings.size());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(ManifestTest, GivesTheApplicationOfThisSuite) {
    EXPECT_EQ(verify(good({{.id = "Other"}, {.version = "3.1", .more = "<forced>2.19</forced>"}, {.version = "9"}})),
              base::Success);
    EXPECT_EQ(application_.find("version").text, "3.1") << "the first of this suite";
    EXPECT_EQ(application_.find("forced").text, "2.19");
    EXPECT_EQ(log_.take(), Lines{"autoupdate Manifest successfully verified"});
    EXPECT_EQ(verify(good({{.version = "", .eula = "", .url = "", .signature = ""}})), base::Success);
}

TEST_F(ManifestTest, TakesEveryKindOfKeyThatSignsDigests) {
    const tests::Key curve = tests::ecKey();
    files_.write("key.pem", tests::pemOf(curve));
    EXPECT_EQ(verify(signedManifest({{}}, curve)), base::Success);
    log_.take();
    files_.write("key.pem", tests::pemOf(tests::Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"), EVP_PKEY_free)));
    EXPECT_EQ(verify(good()), base::VerificationFailed);
    EXPECT_EQ(log_.take(),
              (Lines{"base DigestVerifyInit failed", "autoupdate Failed to verify Zelmo Dockset manifest"}));
    // As while one key takes the place of another.
    files_.write("key.pem", tests::pemOf(curve) + tests::pemOf(key_));
    EXPECT_EQ(verify(good()), base::Success);
    EXPECT_EQ(verify(signedManifest({{}}, curve)), base::Success);
    EXPECT_EQ(verify(signedManifest({{}}, tests::ecKey())), base::VerificationFailed);
}

// Each is a good manifest with one thing wrong.
TEST_F(ManifestTest, AttacksOnTheSignatureFail) {
    const std::string tail = manifestTail({{}});
    const std::string signature = signatureOf(manifestHead + tail, key_);
    const auto with = [&](const std::string& line) { return manifestHead + line + tail; };
    const auto altered = [this](const std::string& from, const std::string& to) {
        std::string manifest = good();
        return manifest.replace(manifest.find(from), from.size(), to);
    };
    std::string deep;
    std::string wide;
    for (int count = 0; count < 100'000; ++count) {
        deep += "<a>";
        wide += " a" + std::to_string(count) + "=''";
    }
    const std::vector<std::pair<const char*, std::string>> attacks{
        {"no bytes", ""},
        {"unsigned", with("")},
        {"wrong key", signedManifest({{}}, tests::rsaKey())},
        {"key of another type", signedManifest({{}}, tests::ecKey())},
        {"another document's signature", with(signatureLine(signatureOf(manifestTail({{}}), key_)))},
        {"undecodable", with(signatureLine("%%%"))},
        {"empty", with(signatureLine(""))},
        {"a byte", altered("2.19.0.0", "2.29.0.0")},
        {"a blank", altered("</version>\n", "</version> \n")},
        {"a blank line before the signature", altered("  <manifest-signature>", "\n  <manifest-signature>")},
        {"line ends", altered("</manifest-signature>\n", "</manifest-signature>\r\n")},
        {"two signatures", with(signatureLine(signature) + signatureLine(signature))},
        {"a second element where the agent looks",
         altered("</version>\n", "<manifest-signature>x</manifest-signature>\n</version>\n")},
        {"100 KB in the signature", with(signatureLine(signature + std::string(100'000, 'A')))},
        {"100 KB before the signature", with(signatureLine(std::string(100'000, 'A') + signature))},
        {"trailing data", good() + "<!-- more -->\n"},
        {"a second root", good() + "<manifest/>\n"},
        {"in a comment",
         with("<!--\n" + signatureLine(signatureOf(manifestHead + "<!--\n-->\n" + tail, key_)) + "-->\n")},
        {"not at the end of a line", with(signatureLine(signature).substr(0, signature.size() + 43))},
        {"deep nesting", with(signatureLine(signature) + deep)},
        {"an element with 100,000 attributes", with(signatureLine(signature) + "<a" + wide + "/>\n")},
        {"no document", "\x7f" + good()},
    };
    const auto begin = std::chrono::steady_clock::now();
    for (const auto& [name, manifest] : attacks) {
        EXPECT_EQ(verify(manifest), base::VerificationFailed) << name;
        EXPECT_EQ(log_.take(), wrongSignature) << name;
        EXPECT_EQ(application_.type, data::ValueType::Null) << name;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5)) << "too long to stop meanwhile";
    // Blanks round the element belong to its line.
    EXPECT_EQ(verify(with(std::string(20'000, ' ') + signatureLine(signature))), base::Success);
}

TEST_F(ManifestTest, NeedsItsKey) {
    const std::string manifest = good();
    const auto attempt = [&](base::ResultCode code, const Lines& lines) {
        EXPECT_EQ(verify(manifest), code);
        EXPECT_EQ(log_.take(), lines);
    };
    boost::filesystem::remove(files_.file("key.pem"));
    attempt(base::GeneralFailure, {"autoupdate Failed to open Zelmo Dockset public key file"});
    files_.write("key.pem", "");
    attempt(base::GeneralFailure, {"autoupdate Failed to read Zelmo Dockset public key file (0 bytes)"});
    const tests::Certificate certificate = tests::certify({{{"CN", "Key"}}, key_}, {{{"CN", "Key"}}, key_});
    for (const std::string& content : {std::string("no key"), tests::pemOf(certificate)}) {
        files_.write("key.pem", content);
        attempt(base::VerificationFailed,
                {"base Failed to read public key", "autoupdate Failed to verify Zelmo Dockset manifest"});
    }
    files_.write("key.pem", tests::pemOf(tests::ecKey()));
    attempt(base::VerificationFailed, wrongSignature);
}

TEST_F(ManifestTest, TellsWhatASignedManifestLacks) {
    const auto without = [this](const std::string& member) {
        std::string tail = manifestTail({{}});
        const std::size_t start = tail.find("<" + member + ">");
        tail.erase(start, tail.find('\n', start) - start);
        return manifestHead + signatureLine(signatureOf(manifestHead + tail, key_)) + tail;
    };
    const std::vector<std::pair<std::string, std::string>> cases{
        {good({{.id = "Other"}}), "Failed to find application, Zelmo Dockset, in manifest"},
        {good({}), "Failed to find application, Zelmo Dockset, in manifest"},
        {good({{.id = "Other"}, {.id = "zelmo dockset"}}), "Failed to read manifest"},
        {good({{.url = "<deeper/>"}}), "Failed to find url in manifest"},
        {without("version"), "Failed to find version in manifest"},
        {without("eula-version"), "Failed to find eula-version in manifest"},
        {without("signature"), "Failed to find signature in manifest"},
    };
    for (const auto& [manifest, line] : cases) {
        EXPECT_EQ(verify(manifest), base::GeneralFailure);
        EXPECT_EQ(log_.take(), Lines{"autoupdate " + line});
    }
}

}  // namespace
