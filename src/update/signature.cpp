#include "update/signature.h"

#include <openssl/bio.h>
#include <openssl/err.h>

#include <algorithm>
#include <array>
#include <string>

#include "base/log_receiver.h"

namespace base {

namespace {

bool failed(const char* text) {
    logMessage("base", text);
    return false;
}

struct FreeBio {
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using OwnedBio = std::unique_ptr<BIO, FreeBio>;

// No bytes are a source too, if an empty one.
OwnedBio sourceOf(const Bytes& bytes) {
    return OwnedBio(
        BIO_new_mem_buf(bytes.empty() ? "" : static_cast<const void*>(bytes.data()), static_cast<int>(bytes.size())));
}

// What is left in the thread's queue of errors would be taken for a fault of its next TLS connection.
class ErrorsForgotten {
public:
    ErrorsForgotten() { ERR_set_mark(); }
    ErrorsForgotten(const ErrorsForgotten&) = delete;
    ErrorsForgotten& operator=(const ErrorsForgotten&) = delete;
    ~ErrorsForgotten() { ERR_pop_to_mark(); }
};

}  // namespace

bool decodeSignature(const Bytes& text, Bytes& signature) {
    const ErrorsForgotten errors;
    const OwnedBio source = sourceOf(text);
    if (!source) {
        return failed("Failed to create BIO from encoded signature");
    }
    const OwnedBio filter(BIO_new(BIO_f_base64()));
    if (!filter) {
        return failed("Failed to create base64 BIO");
    }
    BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
    BIO_push(filter.get(), source.get());
    std::array<std::uint8_t, 512> buffer{};
    const int count = BIO_read(filter.get(), buffer.data(), static_cast<int>(buffer.size()));
    signature.assign(buffer.begin(), buffer.begin() + (count > 0 ? count : 0));
    return true;
}

bool readPublicKey(const Bytes& pem, PublicKeys& keys) {
    const ErrorsForgotten errors;
    const OwnedBio source = sourceOf(pem);
    if (!source) {
        return failed("Failed to create BIO from key");
    }
    // The empty text stands for a pass phrase that would otherwise be asked for on the terminal.
    std::string noPhrase;
    keys.clear();
    while (EVP_PKEY* const key = PEM_read_bio_PUBKEY(source.get(), nullptr, nullptr, noPhrase.data())) {
        keys.emplace_back(key);
    }
    return !keys.empty() || failed("Failed to read public key");
}

bool SignatureCheck::begin(const PublicKeys& keys) {
    const ErrorsForgotten errors;
    return std::ranges::all_of(keys, [this](const PublicKey& key) {
        EVP_MD_CTX* const context = contexts_.emplace_back(EVP_MD_CTX_new()).get();
        return context != nullptr && EVP_DigestVerifyInit(context, nullptr, EVP_sha256(), nullptr, key.get()) > 0;
    });
}

bool SignatureCheck::add(const void* bytes, std::size_t size) {
    const ErrorsForgotten errors;
    return std::ranges::all_of(
        contexts_, [&](const auto& context) { return EVP_DigestVerifyUpdate(context.get(), bytes, size) > 0; });
}

bool SignatureCheck::holds(const Bytes& decodedSignature) {
    const ErrorsForgotten errors;
    const std::uint8_t none = 0;
    const std::uint8_t* const signature = decodedSignature.empty() ? &none : decodedSignature.data();
    return std::ranges::any_of(contexts_, [&](const auto& context) {
        return EVP_DigestVerifyFinal(context.get(), signature, decodedSignature.size()) == 1;
    });
}

bool verifySignature(const Bytes& data, const Bytes& signature, const Bytes& key) {
    Bytes decoded;
    if (!decodeSignature(signature, decoded)) {
        return failed("Failed to decode signature from base64");
    }
    PublicKeys keys;
    if (!readPublicKey(key, keys)) {
        return false;
    }
    SignatureCheck check;
    if (!check.begin(keys)) {
        return failed("DigestVerifyInit failed");
    }
    if (!check.add(data.data(), data.size())) {
        return failed("DigestVerifyUpdate failed");
    }
    return check.holds(decoded) || failed("DigestVerifyFinal failed");
}

}  // namespace base
