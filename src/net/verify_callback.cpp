#include <openssl/ssl.h>

#include <algorithm>
#include <array>
#include <memory>

#include "net/installed_pins.h"
#include "net/public_key.h"

namespace base {

namespace {

struct ReleaseChain {
    void operator()(STACK_OF(X509) * chain) const { sk_X509_pop_free(chain, X509_free); }
};
using Chain = std::unique_ptr<STACK_OF(X509), ReleaseChain>;

HTTPReqInfo* recordOf(X509_STORE_CTX* store) {
    const auto* const ssl = static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    const SSL_CTX* const context = ssl != nullptr ? SSL_get_SSL_CTX(ssl) : nullptr;
    return context != nullptr ? static_cast<HTTPReqInfo*>(SSL_CTX_get_ex_data(context, 0)) : nullptr;
}

// From the leaf to the root.
std::vector<X509*> certificatesOf(const Chain& chain) {
    std::vector<X509*> certificates(static_cast<std::size_t>(sk_X509_num(chain.get())));
    std::generate(certificates.begin(), certificates.end(),
                  [&chain, index = 0]() mutable { return sk_X509_value(chain.get(), index++); });
    return certificates;
}

bool isPinned(X509* certificate, const std::vector<Bytes>& pinnedKeys) {
    const auto key = encodedKeyOf(certificate);
    const auto matches = [&key](const Bytes& pinned) { return key->beginsWith(pinned); };
    return key && (pinnedKeys.empty() || std::any_of(pinnedKeys.begin(), pinnedKeys.end(), matches));
}

std::string commonName(const auto* name) {
    std::array<char, 256> text{};
    const int size = X509_NAME_get_text_by_NID(name, NID_commonName, text.data(), static_cast<int>(text.size()));
    return size > 0 ? text.data() : "";
}

void noteRejection(const std::vector<X509*>& chain, HTTPReqInfo& record) {
    std::string text;
    std::string firstIssuer;
    for (const X509* const certificate : chain) {
        if (!text.empty()) {
            text += " -- ";
        }
        text += commonName(X509_get_subject_name(certificate));
        if (firstIssuer.empty()) {
            firstIssuer = commonName(X509_get_issuer_name(certificate));
        }
    }
    const std::lock_guard lock(record.mutex);
    record.chainText = std::move(text);
    record.chainIssuer = std::move(firstIssuer);
    record.pinRejected = true;
}

// False if the chain may pass without a check of its keys.
bool needsCheck(HTTPReqInfo& record, std::vector<Bytes>& keys, bool& wasRejected) {
    const std::lock_guard lock(record.mutex);
    if (record.noPinning || record.pinMatched) {
        return false;
    }
    keys = record.pinnedKeys;
    wasRejected = record.pinRejected;
    return true;
}

}  // namespace

int onVerifyCertificate(int preverified, X509_STORE_CTX* store) {
    const std::lock_guard pinLock(pinMutex());
    HTTPReqInfo* const record = recordOf(store);
    std::vector<Bytes> keys;
    bool wasRejected = false;
    if (record == nullptr || !needsCheck(*record, keys, wasRejected)) {
        return preverified;
    }
    const Chain chain(X509_STORE_CTX_get1_chain(store));
    if (!chain) {
        return 0;
    }
    const std::vector<X509*> certificates = certificatesOf(chain);
    if (std::any_of(certificates.begin(), certificates.end(), [&keys](X509* each) { return isPinned(each, keys); })) {
        const std::lock_guard lock(record->mutex);
        record->pinMatched = true;
        return preverified;
    }
    if (!wasRejected) {
        noteRejection(certificates, *record);
    }
    return 0;
}

}  // namespace base
