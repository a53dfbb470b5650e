#include "net/certificate_verify_win.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/log_receiver.h"
#include "base/paths.h"
#include "data/whole_file.h"
#include "net/usage_event.h"
#include "win32/kernel.h"

namespace base {

namespace {

constexpr const char* certificateTag = "Certificate";

void log(const std::string& text) { logMessage(certificateTag, text); }

struct FreeLocal {
    void operator()(void* memory) const { LocalFree(memory); }
};

struct FreeChain {
    void operator()(PCCERT_CHAIN_CONTEXT chain) const { CertFreeCertificateChain(chain); }
};
using OwnedChain = std::unique_ptr<const CERT_CHAIN_CONTEXT, FreeChain>;

// Null if one of the steps failed, which is logged.
std::shared_ptr<CERT_PUBLIC_KEY_INFO> decodeKey(const std::vector<std::uint8_t>& text, const std::string& name) {
    const auto* const characters = reinterpret_cast<const char*>(text.data());
    const auto length = static_cast<DWORD>(text.size());
    DWORD size = 0;
    if (!CryptStringToBinaryA(characters, length, CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr, nullptr)) {
        log("Failed to get converted public key length. Key: " + name);
        return nullptr;
    }
    const std::unique_ptr<BYTE, FreeLocal> bytes(static_cast<BYTE*>(LocalAlloc(LMEM_FIXED, size)));
    if (!bytes ||
        !CryptStringToBinaryA(characters, length, CRYPT_STRING_BASE64HEADER, bytes.get(), &size, nullptr, nullptr)) {
        log("Failed to convert public key: " + name);
        return nullptr;
    }
    PCERT_PUBLIC_KEY_INFO key = nullptr;
    DWORD keySize = 0;
    if (!CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, X509_PUBLIC_KEY_INFO, bytes.get(), size,
                             CRYPT_DECODE_ALLOC_FLAG, nullptr, static_cast<void*>(&key), &keySize)) {
        log("Failed to decode public key: " + name);
        return nullptr;
    }
    return {key, FreeLocal()};
}

// In order of their simple chains, from leaf to root.
std::vector<std::vector<PCCERT_CONTEXT>> certificatesOf(const CERT_CHAIN_CONTEXT& context) {
    std::vector<std::vector<PCCERT_CONTEXT>> chains;
    for (DWORD index = 0; index < context.cChain; ++index) {
        const CERT_SIMPLE_CHAIN& chain = *context.rgpChain[index];
        auto& certificates = chains.emplace_back();
        std::transform(chain.rgpElement, chain.rgpElement + chain.cElement, std::back_inserter(certificates),
                       [](const CERT_CHAIN_ELEMENT* element) { return element->pCertContext; });
    }
    return chains;
}

template <typename Keys>
bool isPinned(PCCERT_CONTEXT certificate, const Keys& keys) {
    return std::any_of(keys.begin(), keys.end(), [certificate](const auto& key) {
        return CertComparePublicKeyInfo(X509_ASN_ENCODING, &certificate->pCertInfo->SubjectPublicKeyInfo, key.get());
    });
}

template <typename Keys>
bool hasPinnedKey(const CERT_CHAIN_CONTEXT& context, const Keys& keys) {
    const auto chains = certificatesOf(context);
    return std::any_of(chains.begin(), chains.end(), [&keys](const auto& chain) {
        return std::any_of(chain.begin(), chain.end(), [&keys](const auto* each) { return isPinned(each, keys); });
    });
}

void reportRejectedChain(const std::string& url, const std::string& chainText) {
    logMessage("PinFailureCertChain", chainText);
    reportUsageEvent({.category = "CertificatePinning",
                      .action = "RejectedCertChain",
                      .label = displayText(certificateSetFor(url)),
                      .dimensions = {{6, chainText}, {7, url}}});
}

// Reports each simple chain that has a name in it, and leaves the last name of all in `last`.
void reportRejectedChains(const std::string& url, const CERT_CHAIN_CONTEXT& context, std::string& last) {
    for (const auto& chain : certificatesOf(context)) {
        std::string text;
        for (const auto* const certificate : chain) {
            std::array<char, 128> name{};
            CertGetNameStringA(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name.data(), name.size());
            if (name.front() != '\0') {
                last = name.data();
                text += (text.empty() ? "" : " -- ") + last;
            }
        }
        if (!text.empty()) {
            reportRejectedChain(url, text);
        }
    }
}

}  // namespace

GlobalSlot<CertificateVerify>& certificateVerify() {
    // Never destroyed, as the other slots of this kind.
    static auto* const slot = new GlobalSlot<CertificateVerify>;
    return *slot;
}

CertificateVerifyWin::CertificateVerifyWin(boost::filesystem::path directory) : directory_(std::move(directory)) {}

bool CertificateVerifyWin::verifyWithHandle(const std::string& url, const HINTERNET* handle) {
    log("Validating (w/ platformInfo): " + url);
    const Keys keys = keysForUrl(certificateTag, url);
    if (keys.empty()) {
        return false;
    }
    if (handle == nullptr || *handle == nullptr) {
        log("Missing data to perform pinning for URL: " + url);
        return false;
    }
    PCCERT_CHAIN_CONTEXT context = nullptr;
    DWORD size = sizeof(void*);
    if (!InternetQueryOptionA(*handle, INTERNET_OPTION_SERVER_CERT_CHAIN_CONTEXT, static_cast<void*>(&context),
                              &size)) {
        const DWORD code = GetLastError();
        log("Failed to query certificate chain with " + std::to_string(code) + " for URL: " + url);
        return false;
    }
    const OwnedChain chain(context);
    if (hasPinnedKey(*chain, keys)) {
        log("Validated OK: " + url);
        return true;
    }
    std::string last;
    reportRejectedChains(url, *chain, last);
    log("No matching certificate found for: " + url);
    return false;
}

bool CertificateVerifyWin::verifyChain(const std::string& url, PCCERT_CHAIN_CONTEXT chain, std::string& last) {
    constexpr const char* tag = "CertificateAlt";
    logMessage(tag, "Validating Alt: " + url);
    const Keys keys = keysForUrl(tag, url);
    if (keys.empty()) {
        return false;
    }
    const bool matched = hasPinnedKey(*chain, keys);
    if (!matched) {
        reportRejectedChains(url, *chain, last);
    }
    return matched;
}

CertificateVerifyWin::Keys CertificateVerifyWin::keysForUrl(const std::string& tag, const std::string& url) {
    const CertificateSet set = certificateSetFor(url);
    if (set == CertificateSet::Unspecified) {
        logMessage(tag, "Failed to deduce certificate to use for URL: " + url);
        return {};
    }
    Keys keys = GetPublicKeys(set);
    if (keys.empty()) {
        logMessage(tag, "No pinned keys for URL: " + url);
    }
    return keys;
}

CertificateVerifyWin::Keys CertificateVerifyWin::GetPublicKeys(CertificateSet set) {
    if (auto known = knownKeys(set)) {
        return *std::move(known);
    }
    const std::vector<std::string> names = certificateFileNames(set);
    if (names.empty()) {
        log("Unknown certificate for GetPublicKeys.");
        return {};
    }
    Keys keys;
    for (const std::string& name : names) {
        if (auto key = readKey(name)) {
            keys.push_back(std::move(key));
        }
    }
    // Of two threads that read at once the first one's keys stay.
    const std::lock_guard lock(mutex_);
    return keys_.try_emplace(set, std::move(keys)).first->second;
}

std::optional<CertificateVerifyWin::Keys> CertificateVerifyWin::knownKeys(CertificateSet set) const {
    const std::lock_guard lock(mutex_);
    const auto entry = keys_.find(set);
    return entry != keys_.end() ? std::optional(entry->second) : std::nullopt;
}

std::shared_ptr<CERT_PUBLIC_KEY_INFO> CertificateVerifyWin::readKey(const std::string& name) const {
    const auto directory = directory_.empty() ? certificateDirectory() : directory_;
    const auto file = data::DataFile::OpenReadOnlyFile(widePath(directory / name));
    if (!file->isOpen()) {
        log("Failed to open public key file: " + name);
        return nullptr;
    }
    const std::vector<std::uint8_t> text = data::readWholeFile(*file);
    if (text.empty()) {
        log("Failed to read public key file (0 bytes): " + name);
        return nullptr;
    }
    return decodeKey(text, name);
}

}  // namespace base
