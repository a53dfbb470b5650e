#include "net/installed_pins.h"

#include <openssl/err.h>

#include <utility>

#include "base/paths.h"
#include "data/whole_file.h"
#include "net/public_key.h"
#include "net/system_stores.h"

namespace base {

InstalledPins::InstalledPins(boost::filesystem::path directory) : directory_(std::move(directory)) {}

InstalledPins::~InstalledPins() {
    for (X509* const root : systemRoots_) {
        X509_free(root);
    }
}

std::vector<Bytes> InstalledPins::pinnedKeysFor(const std::string& url) {
    return pinnedKeysFor(certificateSetFor(url));
}

std::vector<Bytes> InstalledPins::pinnedKeysFor(CertificateSet set) {
    const std::lock_guard lock(pinMutex());
    const auto [entry, isNew] = keys_.try_emplace(set);
    if (!isNew) {
        return entry->second;
    }
    for (const std::string& name : certificateFileNames(set)) {
        const auto directory = directory_.empty() ? certificateDirectory() : directory_;
        const Bytes pem = data::readWholeFile(widePath(directory / name));
        if (const auto key = pem.empty() ? std::nullopt : encodedKeyOf(pem)) {
            entry->second.emplace_back(key->bytes.begin(), key->bytes.begin() + static_cast<std::ptrdiff_t>(key->size));
        }
    }
    return entry->second;
}

const std::vector<X509*>& InstalledPins::systemRoots() {
    loadSystemRoots();
    return systemRoots_;
}

SSL_verify_cb InstalledPins::verifyCallback() { return onVerifyCertificate; }

void InstalledPins::loadSystemRoots() {
    if (std::exchange(systemRootsLoaded_, true)) {
        return;
    }
    // What can't be parsed leaves errors that the thread's next TLS connection would take for its own.
    ERR_set_mark();
    visitSystemCertificates([this](const std::uint8_t* bytes, std::size_t size) {
        if (X509* const root = d2i_X509(nullptr, &bytes, static_cast<long>(size))) {
            systemRoots_.push_back(root);
        }
    });
    ERR_pop_to_mark();
}

std::shared_ptr<InstalledPins> installedPins() {
    static auto* const pins = new std::shared_ptr<InstalledPins>(std::make_shared<InstalledPins>());
    return *pins;
}

}  // namespace base
