// RSA public keys as they are compared: encoded in DER, at most 4096 bytes of it.
#pragma once

#include <openssl/x509.h>

#include <array>
#include <optional>

#include "net/http_request.h"

namespace base {

// A key and the zeros behind it.
struct EncodedKey {
    std::array<std::uint8_t, 4096> bytes{};
    std::size_t size = 0;

    // Over the length of `pinned`.
    bool beginsWith(const Bytes& pinned) const;
};

// None for a key that isn't RSA or is too long to be encoded here.
std::optional<EncodedKey> encodedKeyOf(X509* certificate);
// The same of a public key in PEM.
std::optional<EncodedKey> encodedKeyOf(const Bytes& pem);

}  // namespace base
