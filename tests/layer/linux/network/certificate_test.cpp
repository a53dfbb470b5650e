// The stores from OpenSSL's places, and names of certificates made here.
#include "win32/certificate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "certificates.h"
#include "temp_session.h"

namespace {

using tests::Certificate;
using Bytes = std::vector<BYTE>;

std::string der(const Certificate& certificate) {
    const Bytes bytes = tests::derOf(certificate);
    return {bytes.begin(), bytes.end()};
}

std::multiset<std::string> certificatesOf(const WCHAR* name) {
    const HCERTSTORE store = CertOpenSystemStoreW(0, name);
    std::multiset<std::string> all;
    PCCERT_CONTEXT each = nullptr;
    while ((each = CertEnumCertificatesInStore(store, each)) != nullptr) {
        all.emplace(each->pbCertEncoded, each->pbCertEncoded + each->cbCertEncoded);
    }
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), CRYPT_E_NOT_FOUND);
    EXPECT_TRUE(CertCloseStore(store, 0));
    return all;
}

Certificate root(const tests::Key& key, std::vector<std::pair<const char*, std::string>> subject) {
    return tests::certify({subject, key}, {subject, key});
}

TEST(CertificateStoreTest, HoldsWhatOpenSslTrustsNow) {
    const tests::Key key = tests::ecKey();
    const Certificate a = root(key, {{"CN", "A"}});
    const Certificate b = root(key, {{"CN", "B"}});
    const Certificate c = root(key, {{"CN", "C"}});
    const tests::TempDirectory files;
    files.write("bundle.pem", "a note\n" + tests::pemOf(a) + tests::pemOf(key) + tests::pemOf(b) + "-----BEGIN");
    boost::filesystem::create_directories(files.file("first"));
    boost::filesystem::create_directories(files.file("second"));
    files.write("first/12345678.0", tests::pemOf(a));
    files.write("second/90abcdef.12", tests::pemOf(c));
    files.write("second/c.pem", tests::pemOf(root(key, {{"CN", "D"}})));
    const tests::EnvironmentSetting file("SSL_CERT_FILE", files.file("bundle.pem").c_str());
    const std::string both = files.file("first").string() + ":" + files.file("second").string();
    tests::EnvironmentSetting directories("SSL_CERT_DIR", both.c_str());
    EXPECT_EQ(certificatesOf(W("ROOT")), (std::multiset<std::string>{der(a), der(b), der(c)})) << "each once";
    EXPECT_TRUE(certificatesOf(W("CA")).empty());

    const tests::EnvironmentSetting nowhere("SSL_CERT_DIR", "/nowhere");
    files.write("bundle.pem", tests::pemOf(b));
    EXPECT_EQ(certificatesOf(W("ROOT")), std::multiset<std::string>{der(b)});
}

std::string displayName(const Certificate& certificate) {
    Bytes bytes = tests::derOf(certificate);
    const CERT_CONTEXT context{X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size()), nullptr, nullptr};
    std::array<char, 128> name{};
    const DWORD length = CertGetNameStringA(&context, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(), 128);
    EXPECT_EQ(length, std::string(name.data()).size() + 1);
    return name.data();
}

TEST(CertificateNameTest, IsTheBestThatTheSubjectHas) {
    const tests::Key key = tests::ecKey();
    EXPECT_EQ(displayName(root(key, {{"O", "Maker"}, {"CN", "Root \xc3\xa9"}})), "Root \xc3\xa9");
    EXPECT_EQ(displayName(root(key, {{"C", "XX"}, {"O", "Maker"}})), "Maker");
}

}  // namespace
