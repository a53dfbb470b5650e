// Keys and certificates made for a test.
#pragma once

#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tests {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;

// Short, to be made fast.
inline Key rsaKey() { return {EVP_RSA_gen(1024), EVP_PKEY_free}; }
inline Key ecKey() { return {EVP_EC_gen("P-256"), EVP_PKEY_free}; }

// A public RSA key of any size; nobody has its private one.
inline Key publicRsaKey(unsigned bits) {
    const std::shared_ptr<BIGNUM> modulus(BN_new(), BN_free);
    BN_set_bit(modulus.get(), static_cast<int>(bits) - 1);
    BN_set_bit(modulus.get(), 0);
    const std::shared_ptr<OSSL_PARAM_BLD> builder(OSSL_PARAM_BLD_new(), OSSL_PARAM_BLD_free);
    OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get());
    OSSL_PARAM_BLD_push_uint(builder.get(), OSSL_PKEY_PARAM_RSA_E, RSA_F4);
    const std::shared_ptr<OSSL_PARAM> parameters(OSSL_PARAM_BLD_to_param(builder.get()), OSSL_PARAM_free);
    const std::shared_ptr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr), EVP_PKEY_CTX_free);
    EVP_PKEY* key = nullptr;
    EVP_PKEY_fromdata_init(context.get());
    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get());
    return {key, EVP_PKEY_free};
}

// What `write` leaves in a BIO.
template <typename Write>
std::string written(Write write) {
    const std::shared_ptr<BIO> memory(BIO_new(BIO_s_mem()), BIO_free);
    write(memory.get());
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &bytes);
    return {bytes, static_cast<std::size_t>(size)};
}

inline std::string pemOf(const Key& key) {
    return written([&](BIO* bio) { PEM_write_bio_PUBKEY(bio, key.get()); });
}
inline std::string pemOf(const Certificate& certificate) {
    return written([&](BIO* bio) { PEM_write_bio_X509(bio, certificate.get()); });
}
inline std::vector<std::uint8_t> derOf(const Key& key) {
    const std::string bytes = written([&](BIO* bio) { i2d_PUBKEY_bio(bio, key.get()); });
    return {bytes.begin(), bytes.end()};
}
inline std::vector<std::uint8_t> derOf(const Certificate& certificate) {
    const std::string bytes = written([&](BIO* bio) { i2d_X509_bio(bio, certificate.get()); });
    return {bytes.begin(), bytes.end()};
}

struct Identity {
    std::vector<std::pair<const char*, std::string>> subject;  // such as {"CN", "Root"}
    Key key;
};

// Signed by the issuer, with himself as the subject a root; all may sign others.
inline Certificate certify(const Identity& subject, const Identity& issuer) {
    const auto nameOf = [](const Identity& identity) {
        std::shared_ptr<X509_NAME> name(X509_NAME_new(), X509_NAME_free);
        for (const auto& [field, text] : identity.subject) {
            const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
            X509_NAME_add_entry_by_txt(name.get(), field, MBSTRING_UTF8, bytes, static_cast<int>(text.size()), -1, 0);
        }
        return name;
    };
    Certificate certificate(X509_new(), X509_free);
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
    X509_set_subject_name(certificate.get(), nameOf(subject).get());
    X509_set_issuer_name(certificate.get(), nameOf(issuer).get());
    X509_set_pubkey(certificate.get(), subject.key.get());
    X509_EXTENSION* const authority = X509V3_EXT_conf_nid(nullptr, nullptr, NID_basic_constraints, "critical,CA:TRUE");
    X509_add_ext(certificate.get(), authority, -1);
    X509_EXTENSION_free(authority);
    X509_sign(certificate.get(), issuer.key.get(), EVP_sha256());
    return certificate;
}

}  // namespace tests
