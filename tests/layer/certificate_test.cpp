#include "win32/certificate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "win32/kernel.h"

namespace {

constexpr const char* keyText =
    "-----BEGIN PUBLIC KEY-----\n"
    "MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEuMZ5049sJQ6fLjkZHAOkrprlOQcJ\n"
    "FspjsbmG+IpXwVfOQvpzofdlQv8ewQCybnMO/8ch5RikqtlxP6jUuc6MHQ==\n"
    "-----END PUBLIC KEY-----\n";
constexpr DWORD keySize = 91;

std::vector<BYTE> toBinary(const std::string& text) {
    DWORD size = 0;
    if (!CryptStringToBinaryA(text.c_str(), 0, CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr, nullptr)) {
        return {};
    }
    std::vector<BYTE> bytes(size);
    EXPECT_TRUE(CryptStringToBinaryA(text.data(), static_cast<DWORD>(text.size()), CRYPT_STRING_BASE64HEADER,
                                     bytes.data(), &size, nullptr, nullptr));
    return bytes;
}

using KeyInfo = std::unique_ptr<CERT_PUBLIC_KEY_INFO, decltype(&LocalFree)>;

KeyInfo decode(const std::vector<BYTE>& bytes) {
    PCERT_PUBLIC_KEY_INFO info = nullptr;
    DWORD size = 0;
    if (CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, X509_PUBLIC_KEY_INFO, bytes.data(),
                            static_cast<DWORD>(bytes.size()), CRYPT_DECODE_ALLOC_FLAG, nullptr, &info, &size)) {
        EXPECT_GT(size, sizeof *info);
    }
    return {info, LocalFree};
}

TEST(CertificateTest, TurnsTextIntoBytes) {
    const std::vector<BYTE> bytes = toBinary(keyText);
    ASSERT_EQ(bytes.size(), keySize);
    EXPECT_EQ(bytes.front(), 0x30);
    std::string text = keyText;
    text.erase(std::remove(text.begin() + 27, text.end() - 26, '\n'), text.end() - 26);
    EXPECT_EQ(toBinary("a note\n" + text), bytes) << "however the lines are broken";

    for (const std::string wrong :
         {"", "-----BEGIN PUBLIC KEY-----\nMFkw\n", "-----BEGIN X-----\n!!\n-----END X-----"}) {
        SetLastError(0);
        EXPECT_EQ(toBinary(wrong), std::vector<BYTE>());
        EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA) << wrong;
    }
}

TEST(CertificateTest, TellsOfASmallBuffer) {
    BYTE buffer[keySize];
    DWORD size = keySize - 1;
    EXPECT_FALSE(CryptStringToBinaryA(keyText, 0, CRYPT_STRING_BASE64HEADER, buffer, &size, nullptr, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_MORE_DATA);
}

TEST(CertificateTest, DecodesAndComparesPublicKeys) {
    std::vector<BYTE> bytes = toBinary(keyText);
    const KeyInfo key = decode(bytes);
    ASSERT_TRUE(key);
    EXPECT_STREQ(key->Algorithm.pszObjId, "1.2.840.10045.2.1");
    ASSERT_EQ(key->PublicKey.cbData, 65U);
    EXPECT_EQ(key->PublicKey.cUnusedBits, 0U);
    EXPECT_EQ(std::memcmp(key->PublicKey.pbData, &bytes[keySize - 65], 65), 0);
    const KeyInfo same = decode(bytes);
    bytes[keySize - 1] ^= 1;
    const KeyInfo other = decode(bytes);
    EXPECT_TRUE(CertComparePublicKeyInfo(X509_ASN_ENCODING, key.get(), same.get()));
    EXPECT_FALSE(CertComparePublicKeyInfo(X509_ASN_ENCODING, key.get(), other.get()));

    EXPECT_FALSE(decode({0x04, 0x01, 0x00}));
    bytes.resize(keySize - 1);
    EXPECT_FALSE(decode(bytes));
}

TEST(CertificateTest, StoresAreWalked) {
    const HCERTSTORE store = CertOpenSystemStoreW(0, W("ROOT"));
    ASSERT_NE(store, nullptr);
    PCCERT_CONTEXT certificate = nullptr;
    while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
        std::array<char, 256> name{};
        EXPECT_GT(CertGetNameStringA(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(), 256), 1U);
        EXPECT_GT(certificate->cbCertEncoded, 100U);
    }
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), CRYPT_E_NOT_FOUND);
    EXPECT_NE(CertCloseStore(store, 0), FALSE);
}

}  // namespace
