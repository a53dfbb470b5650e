// Owners of OpenSSL's objects.
#pragma once

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include <memory>

namespace win32 {

struct OpenSslRelease {
    void operator()(BIO* bio) const { BIO_free(bio); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_PUBKEY* key) const { X509_PUBKEY_free(key); }
    void operator()(EVP_ENCODE_CTX* context) const { EVP_ENCODE_CTX_free(context); }
    void operator()(char* memory) const { OPENSSL_free(memory); }
    void operator()(unsigned char* memory) const { OPENSSL_free(memory); }
};

template <typename T>
using Owned = std::unique_ptr<T, OpenSslRelease>;

// Leaves the thread's queue of OpenSSL errors as it was: what stays there confuses the thread's next TLS connection.
class QuietErrors {
public:
    QuietErrors() { ERR_set_mark(); }
    QuietErrors(const QuietErrors&) = delete;
    QuietErrors& operator=(const QuietErrors&) = delete;
    ~QuietErrors() { ERR_pop_to_mark(); }
};

}  // namespace win32
