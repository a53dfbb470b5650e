// The system's stores, from the places where OpenSSL looks for what it trusts.
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "linux/network/openssl_owners.h"
#include "linux/support/scripted.h"
#include "linux/support/text.h"
#include "win32/certificate.h"

namespace win32 {

namespace {

struct Store {
    std::set<std::string> certificates;  // DER
    std::set<std::string>::const_iterator next;
    CERT_CONTEXT shown{};
};

std::string locationOf(const char* variable, const char* usual) {
    const char* const chosen = secure_getenv(variable);
    return chosen != nullptr ? chosen : usual;
}

// Of a file of certificates in PEM those without a note on what they are trusted for: a store can't pass that on.
void readFile(const std::string& path, std::set<std::string>& certificates) {
    const QuietErrors quiet;
    const Owned<BIO> file(BIO_new_file(path.c_str(), "r"));
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* bytes = nullptr;
    long size = 0;
    while (file && PEM_read_bio(file.get(), &name, &header, &bytes, &size) == 1) {
        const Owned<char> ownName(name);
        const Owned<char> ownHeader(header);
        const Owned<unsigned char> ownBytes(bytes);
        if (std::string(name) == PEM_STRING_X509 || std::string(name) == PEM_STRING_X509_OLD) {
            certificates.emplace(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
        }
    }
}

// OpenSSL finds a directory's certificates by the hash of the subject: "12345678.0".
bool isHashName(const std::string& name) {
    constexpr std::size_t hashSize = 8;
    constexpr const char* hexadecimal = "0123456789abcdef";
    return name.size() > hashSize + 1 && name.find_first_not_of(hexadecimal) == hashSize && name[hashSize] == '.' &&
           name.find_first_not_of("0123456789", hashSize + 1) == std::string::npos;
}

void readDirectory(const std::string& path, std::set<std::string>& certificates) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error)) {
        if (isHashName(entry->path().filename().string())) {
            readFile(entry->path().string(), certificates);
        }
    }
}

std::set<std::string> trustedCertificates() {
    std::set<std::string> certificates;
    readFile(locationOf(X509_get_default_cert_file_env(), X509_get_default_cert_file()), certificates);
    std::istringstream directories(locationOf(X509_get_default_cert_dir_env(), X509_get_default_cert_dir()));
    for (std::string directory; std::getline(directories, directory, ':');) {
        readDirectory(directory, certificates);
    }
    return certificates;
}

}  // namespace

}  // namespace win32

HCERTSTORE WINAPI CertOpenSystemStoreW(HCRYPTPROV_LEGACY /*provider*/, LPCWSTR name) {
    WIN32_MAY_FAIL("CertOpenSystemStoreW", nullptr);
    if (name == nullptr) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return nullptr;
    }
    auto store = std::make_unique<win32::Store>();
    std::string upper = win32::toBytes(name);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    if (upper == "ROOT") {
        store->certificates = win32::trustedCertificates();
    }
    return store.release();
}

PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE handle, PCCERT_CONTEXT previous) {
    WIN32_MAY_FAIL("CertEnumCertificatesInStore", nullptr);
    if (handle == nullptr) {
        SetLastError(static_cast<DWORD>(E_INVALIDARG));
        return nullptr;
    }
    auto& store = *static_cast<win32::Store*>(handle);
    store.next = previous == nullptr ? store.certificates.begin() : std::next(store.next);
    if (store.next == store.certificates.end()) {
        SetLastError(static_cast<DWORD>(CRYPT_E_NOT_FOUND));
        return nullptr;
    }
    auto* const bytes = reinterpret_cast<BYTE*>(const_cast<char*>(store.next->data()));
    store.shown = {X509_ASN_ENCODING, bytes, static_cast<DWORD>(store.next->size()), nullptr, handle};
    return &store.shown;
}

BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD /*flags*/) {
    delete static_cast<win32::Store*>(store);
    return TRUE;
}
