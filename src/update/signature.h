// Signatures as manifests and installers carry them: base64 of what a key signed with SHA-256.
#pragma once

// All that is used of OpenSSL: what is included behind <windows.h> clashes with that one's names.
#include <openssl/pem.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "net/http_request.h"

namespace base {

struct FreePublicKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using PublicKey = std::unique_ptr<EVP_PKEY, FreePublicKey>;
using PublicKeys = std::vector<PublicKey>;

// One line of base64, of which at most 512 bytes are decoded. A text that isn't base64 gives no bytes and true: an
// empty signature holds for nothing.
bool decodeSignature(const Bytes& text, Bytes& signature);

// Public keys of any kind in PEM, one behind the other: whoever signs changes keys by way of agents that take both, the
// present one and the next. True if there is one. RSA signatures have the padding of PKCS #1 v1.5.
bool readPublicKey(const Bytes& pem, PublicKeys& keys);

// Whether one of the keys made the signature. `signature` is base64 and `key` PEM. What is wrong is logged under the
// tag "base". Any thread.
bool verifySignature(const Bytes& data, const Bytes& signature, const Bytes& key);

// The same for data that comes in blocks. Logs nothing but what the two steps above do.
class SignatureCheck {
public:
    bool begin(const PublicKeys& keys);
    bool add(const void* bytes, std::size_t size);
    bool holds(const Bytes& decodedSignature);

private:
    struct FreeContext {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    // One for each key.
    std::vector<std::unique_ptr<EVP_MD_CTX, FreeContext>> contexts_;
};

}  // namespace base
