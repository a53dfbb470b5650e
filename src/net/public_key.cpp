// The RSA functions by name are deprecated, but only they tell RSA keys from the others in one step.
#define OPENSSL_SUPPRESS_DEPRECATED

#include "net/public_key.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <memory>
#include <string>

namespace base {

namespace {

struct Release {
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(RSA* key) const { RSA_free(key); }
};

template <typename T>
using Owned = std::unique_ptr<T, Release>;

std::optional<EncodedKey> encode(EVP_PKEY* key) {
    const Owned<RSA> rsa(key != nullptr ? EVP_PKEY_get1_RSA(key) : nullptr);
    const int size = rsa ? i2d_RSA_PUBKEY(rsa.get(), nullptr) : 0;
    EncodedKey encoded;
    if (size <= 0 || static_cast<std::size_t>(size) > encoded.bytes.size()) {
        return std::nullopt;
    }
    std::uint8_t* end = encoded.bytes.data();
    encoded.size = static_cast<std::size_t>(i2d_RSA_PUBKEY(rsa.get(), &end));
    return encoded;
}

// What is left in the thread's queue of errors would be taken for a fault of its next TLS connection.
template <typename Read>
std::optional<EncodedKey> encodeQuietly(Read read) {
    ERR_set_mark();
    const auto encoded = encode(Owned<EVP_PKEY>(read()).get());
    ERR_pop_to_mark();
    return encoded;
}

}  // namespace

bool EncodedKey::beginsWith(const Bytes& pinned) const {
    return pinned.size() <= bytes.size() && std::equal(pinned.begin(), pinned.end(), bytes.begin());
}

std::optional<EncodedKey> encodedKeyOf(X509* certificate) {
    return encodeQuietly([certificate] { return X509_get_pubkey(certificate); });
}

std::optional<EncodedKey> encodedKeyOf(const Bytes& pem) {
    return encodeQuietly([&pem] {
        const Owned<BIO> file(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        std::string noPhrase;  // or OpenSSL would ask at the terminal for that of an encrypted key
        return PEM_read_bio_PUBKEY(file.get(), nullptr, nullptr, noPhrase.data());
    });
}

}  // namespace base
