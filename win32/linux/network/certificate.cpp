// Public keys, display names and chains.
#include "win32/certificate.h"

#include <openssl/asn1.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "linux/network/openssl_owners.h"
#include "linux/support/scripted.h"
#include "win32/kernel.h"
#include "win32/script.h"

namespace win32 {

namespace {

#ifdef WIN32_SCRIPTED
script::Substitute<const void*>& chainSubstitute() {
    static auto* const instance = new script::Substitute<const void*>;
    return *instance;
}
#endif

// What stands between the two lines of dashes.
std::optional<std::string_view> encodedPart(std::string_view text) {
    constexpr std::string_view begin = "-----BEGIN ";
    constexpr std::string_view dashes = "-----";
    const auto label = text.find(begin);
    const auto labelEnd = label == std::string_view::npos ? label : text.find(dashes, label + begin.size());
    if (labelEnd == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(labelEnd + dashes.size());
    const auto end = text.find("-----END ");
    return end == std::string_view::npos ? std::nullopt : std::optional(text.substr(0, end));
}

std::optional<std::vector<BYTE>> decodeBase64(std::string_view text) {
    const QuietErrors quiet;
    const Owned<EVP_ENCODE_CTX> context(EVP_ENCODE_CTX_new());
    std::vector<BYTE> bytes(text.size() + 1);
    int size = 0;
    int rest = 0;
    EVP_DecodeInit(context.get());
    if (EVP_DecodeUpdate(context.get(), bytes.data(), &size, reinterpret_cast<const BYTE*>(text.data()),
                         static_cast<int>(text.size())) < 0 ||
        EVP_DecodeFinal(context.get(), bytes.data() + size, &rest) < 0) {
        return std::nullopt;
    }
    bytes.resize(static_cast<std::size_t>(size) + static_cast<std::size_t>(rest));
    return bytes;
}

// A sequence whose length goes beyond the bytes.
bool isCutShort(const BYTE* encoded, DWORD size) {
    constexpr BYTE sequence = 0x30;
    constexpr unsigned longForm = 0x80;
    if (size < 2 || encoded[0] != sequence) {
        return size == 0 || encoded[0] == sequence;
    }
    const DWORD lengthSize = encoded[1] < longForm ? 0 : encoded[1] - longForm;
    std::uint64_t length = lengthSize == 0 ? encoded[1] : 0;
    for (DWORD i = 0; i < std::min(lengthSize, size - 2); ++i) {
        length = length << 8U | encoded[2 + i];
    }
    return std::uint64_t{size} < 2 + lengthSize + length;
}

std::string dottedName(const ASN1_OBJECT* object) {
    std::string name(static_cast<std::size_t>(OBJ_obj2txt(nullptr, 0, object, 1)) + 1, '\0');
    OBJ_obj2txt(name.data(), static_cast<int>(name.size()), object, 1);
    return name;  // with its zero
}

std::string parametersOf(const X509_ALGOR* algorithm) {
    unsigned char* bytes = nullptr;
    const int size = algorithm->parameter == nullptr ? 0 : i2d_ASN1_TYPE(algorithm->parameter, &bytes);
    const Owned<unsigned char> own(bytes);
    return size > 0 ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)) : std::string();
}

// `bytes` may be null if there are none.
BYTE* append(BYTE*& end, const void* bytes, std::size_t size) {
    return std::exchange(end, std::copy_n(static_cast<const BYTE*>(bytes), size, end));
}

// One block: the structure, then the bytes that it points to.
CERT_PUBLIC_KEY_INFO* copyKeyInfo(const X509_PUBKEY* key, DWORD& size) {
    ASN1_OBJECT* object = nullptr;
    const unsigned char* bits = nullptr;
    int bitsSize = 0;
    X509_ALGOR* algorithm = nullptr;
    X509_PUBKEY_get0_param(&object, &bits, &bitsSize, &algorithm, key);
    const std::string name = dottedName(object);
    const std::string parameters = parametersOf(algorithm);
    const auto keySize = static_cast<DWORD>(bitsSize);
    size = static_cast<DWORD>(sizeof(CERT_PUBLIC_KEY_INFO) + name.size() + parameters.size()) + keySize;
    auto* const info = static_cast<CERT_PUBLIC_KEY_INFO*>(LocalAlloc(LMEM_FIXED, size));
    if (info != nullptr) {
        auto* end = reinterpret_cast<BYTE*>(info + 1);
        info->Algorithm.pszObjId = reinterpret_cast<LPSTR>(append(end, name.data(), name.size()));
        info->Algorithm.Parameters = {static_cast<DWORD>(parameters.size()),
                                      append(end, parameters.data(), parameters.size())};
        info->PublicKey = {keySize, append(end, bits, keySize), 0};
    }
    return info;
}

std::string textOf(const X509_NAME_ENTRY* entry) {
    unsigned char* bytes = nullptr;
    const int size = ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(entry));
    const Owned<unsigned char> own(bytes);
    return size > 0 ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)) : std::string();
}

std::string displayName(const CERT_CONTEXT& certificate) {
    const QuietErrors quiet;
    const BYTE* bytes = certificate.pbCertEncoded;
    const Owned<X509> parsed(d2i_X509(nullptr, &bytes, static_cast<long>(certificate.cbCertEncoded)));
    const X509_NAME* const subject = parsed ? X509_get_subject_name(parsed.get()) : nullptr;
    if (subject == nullptr || X509_NAME_entry_count(subject) == 0) {
        return {};
    }
    for (const int kind : {NID_commonName, NID_organizationalUnitName, NID_organizationName, NID_pkcs9_emailAddress}) {
        if (const int index = X509_NAME_get_index_by_NID(subject, kind, -1); index >= 0) {
            return textOf(X509_NAME_get_entry(subject, index));
        }
    }
    return textOf(X509_NAME_get_entry(subject, 0));
}

BOOL fail(DWORD code) {
    SetLastError(code);
    return FALSE;
}

}  // namespace

}  // namespace win32

BOOL WINAPI CryptStringToBinaryA(LPCSTR text, DWORD length, DWORD flags, BYTE* binary, DWORD* size, DWORD* skipped,
                                 DWORD* foundFlags) {
    WIN32_MAY_FAIL("CryptStringToBinaryA", FALSE);
    if (text == nullptr || size == nullptr) {
        return win32::fail(ERROR_INVALID_PARAMETER);
    }
    const std::string_view all(text, length != 0 ? length : std::strlen(text));
    const auto part = win32::encodedPart(all);
    const auto bytes = flags == CRYPT_STRING_BASE64HEADER && part ? win32::decodeBase64(*part) : std::nullopt;
    if (!bytes) {
        return win32::fail(ERROR_INVALID_DATA);
    }
    const DWORD room = std::exchange(*size, static_cast<DWORD>(bytes->size()));
    if (binary != nullptr) {
        if (room < bytes->size()) {
            return win32::fail(ERROR_MORE_DATA);
        }
        std::copy(bytes->begin(), bytes->end(), binary);
    }
    if (skipped != nullptr) {
        *skipped = static_cast<DWORD>(all.find("-----BEGIN "));
    }
    if (foundFlags != nullptr) {
        *foundFlags = CRYPT_STRING_BASE64HEADER;
    }
    return TRUE;
}

BOOL WINAPI CryptDecodeObjectEx(DWORD /*encoding*/, LPCSTR type, const BYTE* encoded, DWORD encodedSize, DWORD flags,
                                CRYPT_DECODE_PARA* /*parameters*/, void* decoded, DWORD* decodedSize) {
    WIN32_MAY_FAIL("CryptDecodeObjectEx", FALSE);
    if (type != X509_PUBLIC_KEY_INFO) {
        return win32::fail(ERROR_FILE_NOT_FOUND);
    }
    if (flags != CRYPT_DECODE_ALLOC_FLAG || decoded == nullptr || decodedSize == nullptr ||
        (encoded == nullptr && encodedSize != 0)) {
        return win32::fail(ERROR_INVALID_PARAMETER);
    }
    const win32::QuietErrors quiet;
    if (win32::isCutShort(encoded, encodedSize)) {
        return win32::fail(static_cast<DWORD>(CRYPT_E_ASN1_EOD));
    }
    const win32::Owned<X509_PUBKEY> key(d2i_X509_PUBKEY(nullptr, &encoded, static_cast<long>(encodedSize)));
    if (!key) {
        return win32::fail(static_cast<DWORD>(CRYPT_E_ASN1_BADTAG));
    }
    auto* const info = win32::copyKeyInfo(key.get(), *decodedSize);
    *static_cast<CERT_PUBLIC_KEY_INFO**>(decoded) = info;
    return info != nullptr ? TRUE : FALSE;
}

// The bits alone: how the same key's algorithm is written differs between encoders.
BOOL WINAPI CertComparePublicKeyInfo(DWORD /*encoding*/, PCERT_PUBLIC_KEY_INFO key, PCERT_PUBLIC_KEY_INFO other) {
    const CRYPT_BIT_BLOB& a = key->PublicKey;
    const CRYPT_BIT_BLOB& b = other->PublicKey;
    return a.cUnusedBits == b.cUnusedBits && std::equal(a.pbData, a.pbData + a.cbData, b.pbData, b.pbData + b.cbData);
}

DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD type, DWORD /*flags*/, void* /*parameter*/,
                                LPSTR name, DWORD size) {
    const std::string text = certificate != nullptr && type == CERT_NAME_SIMPLE_DISPLAY_TYPE
                                 ? win32::displayName(*certificate)
                                 : std::string();
    if (name == nullptr || size == 0) {
        return static_cast<DWORD>(text.size()) + 1;
    }
    const std::size_t shown = std::min<std::size_t>(text.size(), size - 1);
    text.copy(name, shown);
    name[shown] = '\0';
    return static_cast<DWORD>(shown) + 1;
}

void WINAPI CertFreeCertificateChain([[maybe_unused]] PCCERT_CHAIN_CONTEXT chain) {
    WIN32_RECORD("CertFreeCertificateChain", std::to_string(chain->cChain));
}

BOOL WINAPI InternetQueryOptionA(HINTERNET /*handle*/, [[maybe_unused]] DWORD option, [[maybe_unused]] LPVOID buffer,
                                 [[maybe_unused]] LPDWORD size) {
    WIN32_MAY_FAIL("InternetQueryOptionA", FALSE);
#ifdef WIN32_SCRIPTED
    const void* const chain = win32::chainSubstitute().get().value_or(nullptr);
    if (chain != nullptr && option == INTERNET_OPTION_SERVER_CERT_CHAIN_CONTEXT && *size >= sizeof chain) {
        *static_cast<const void**>(buffer) = chain;
        return TRUE;
    }
#endif
    return win32::fail(ERROR_INVALID_HANDLE);
}

#ifdef WIN32_SCRIPTED
void win32::script::answerChain(const void* chain) { win32::chainSubstitute().set(chain); }
#endif
