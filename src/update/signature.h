// Signatures as manifests and installers carry them: base64 of what a key signed with SHA-256.
#pragma once

// All that is used of OpenSSL: what is included behind <windows.h> clashes with that one's names.
#include <openssl/pem.h>

#include <cstddef>
#include <memory>

#include "net/http_request.h"

namespace base {

struct FreePublicKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using PublicKey = std::unique_ptr<EVP_PKEY, FreePublicKey>;

// One line of base64, of which at most 512 bytes are decoded. A text that isn't base64 gives no bytes and true: an
// empty signature holds for nothing.
bool decodeSignature(const Bytes& text, Bytes& signature);

// A public key of any kind in PEM; RSA signatures have the padding of PKCS #1 v1.5.
bool readPublicKey(const Bytes& pem, PublicKey& key);

// `signature` is base64 and `key` PEM. What is wrong is logged under the tag "base". Any thread.
bool verifySignature(const Bytes& data, const Bytes& signature, const Bytes& key);

// The same for data that comes in blocks. Logs nothing but what the two steps above do.
class SignatureCheck {
public:
    SignatureCheck() : context_(EVP_MD_CTX_new()) {}

    bool begin(const PublicKey& key);
    bool add(const void* bytes, std::size_t size);
    bool holds(const Bytes& decodedSignature);

private:
    struct FreeContext {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, FreeContext> context_;
};

}  // namespace base
