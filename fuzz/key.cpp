// Keys and certificates in files: whatever one holds, nothing is left for the thread's next TLS connection to find.
#include <openssl/err.h>

#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "fuzz.h"
#include "net/public_key.h"
#include "update/signature.h"
#include "win32/certificate.h"
#include "win32/kernel.h"

namespace {

struct Free {
    void operator()(void* memory) const { LocalFree(memory); }
    void operator()(X509* certificate) const { X509_free(certificate); }
};

bool readByLayer(const base::Bytes& text) {
    const auto* const characters = reinterpret_cast<const char*>(text.data());
    const auto length = static_cast<DWORD>(text.size());
    DWORD size = 0;
    if (text.empty() || CryptStringToBinaryA(characters, length, CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr,
                                             nullptr) == FALSE) {
        return false;
    }
    base::Bytes bytes(size);
    const DWORD asked = size;
    fuzz::require(CryptStringToBinaryA(characters, length, CRYPT_STRING_BASE64HEADER, bytes.data(), &size, nullptr,
                                       nullptr) != FALSE &&
                      size == asked,
                  "what was asked for is enough");
    PCERT_PUBLIC_KEY_INFO key = nullptr;
    DWORD keySize = 0;
    if (CryptDecodeObjectEx(X509_ASN_ENCODING, X509_PUBLIC_KEY_INFO, bytes.data(), size, CRYPT_DECODE_ALLOC_FLAG,
                            nullptr, static_cast<void*>(&key), &keySize) == FALSE) {
        return false;
    }
    const std::unique_ptr<void, Free> owner(key);
    fuzz::require(std::strlen(key->Algorithm.pszObjId) + key->PublicKey.cbData < keySize, "a key lies in its block");
    fuzz::require(CertComparePublicKeyInfo(X509_ASN_ENCODING, key, key) != FALSE, "a key is like itself");
    return true;
}

void readCertificate(fuzz::Input input) {
    CERT_CONTEXT context{};
    context.pbCertEncoded = const_cast<BYTE*>(input.data());
    context.cbCertEncoded = static_cast<DWORD>(input.size());
    std::array<char, 128> name{};
    const DWORD whole = CertGetNameStringA(&context, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, nullptr, 0);
    const DWORD shown =
        CertGetNameStringA(&context, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(), name.size());
    fuzz::require(shown == std::min<DWORD>(whole, name.size()) && name[shown - 1] == '\0', "a name is cut to its room");
    fuzz::require(ERR_peek_error() == 0, "a certificate leaves no error");
    const std::uint8_t* bytes = input.data();
    const std::unique_ptr<X509, Free> certificate(d2i_X509(nullptr, &bytes, static_cast<long>(input.size())));
    ERR_clear_error();
    if (certificate) {
        base::encodedKeyOf(certificate.get());
    }
}

// As a file holds it.
base::Bytes wrapped(fuzz::Input der) {
    base::Bytes text(4 * (der.size() / 3 + 1) + 1);
    text.resize(static_cast<std::size_t>(EVP_EncodeBlock(text.data(), der.data(), static_cast<int>(der.size()))));
    for (std::size_t at = 64; at < text.size(); at += 65) {
        text.insert(text.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    }
    constexpr std::string_view begin = "-----BEGIN PUBLIC KEY-----\n";
    constexpr std::string_view end = "\n-----END PUBLIC KEY-----\n";
    text.insert(text.begin(), begin.begin(), begin.end());
    text.insert(text.end(), end.begin(), end.end());
    return text;
}

// Whether both readers of pinned keys find one.
bool readKey(const base::Bytes& text) {
    base::PublicKeys keys;
    const bool isRead = base::readPublicKey(text, keys);
    const auto encoded = base::encodedKeyOf(text);
    fuzz::require(isRead || !encoded, "what can be pinned can be read");
    const bool isReadByLayer = readByLayer(text);
    fuzz::require(ERR_peek_error() == 0, "a key leaves no error");
    return !encoded || isReadByLayer;
}

}  // namespace

FUZZ_TARGET(key) {
    const base::Bytes text(input.begin(), input.end());
    readKey(text);
    fuzz::require(readKey(wrapped(input)), "what one side can pin the other can");
    base::Bytes signature;
    base::decodeSignature(text, signature);
    fuzz::require(signature.size() <= 512, "a signature has its bound");
    readCertificate(input);
}
