// Certificates: the system's stores, public keys as files hold them, and the chain that a server showed.
//
// CertOpenSystemStoreW: "ROOT" holds the certificates that the machine trusts, as they are at the time of opening: on
// Linux those of OpenSSL's own places, its SSL_CERT_FILE and SSL_CERT_DIR honoured, each once. Any other name opens an
// empty store there. Closed by CertCloseStore, flags 0.
// CertEnumCertificatesInStore: the certificate behind `previous`, the first one for null; null with CRYPT_E_NOT_FOUND
// at the end. The context belongs to the store and lasts until the next call or the store's end. On Linux it has the
// encoded bytes alone; pCertInfo is null. One thread at a time for a store.
// CryptStringToBinaryA: with CRYPT_STRING_BASE64HEADER the bytes between two lines of dashes (RFC 7468, whatever the
// label); length 0 stands for a text with a zero at its end. Without a buffer it returns the bytes needed; into a short
// one ERROR_MORE_DATA, and ERROR_INVALID_DATA for any other text.
// CryptDecodeObjectEx: X509_PUBLIC_KEY_INFO (DER, RFC 5280 SubjectPublicKeyInfo) with CRYPT_DECODE_ALLOC_FLAG, which
// gives a CERT_PUBLIC_KEY_INFO in one block for LocalFree. CRYPT_E_ASN1_EOD for a beginning of it,
// CRYPT_E_ASN1_BADTAG for other bytes.
// CertComparePublicKeyInfo: whether both keys are the same. Sets no error.
// CertGetNameStringA: with CERT_NAME_SIMPLE_DISPLAY_TYPE the subject's common name, else its unit, organization or
// address, else the first name that it has; cut to fit, and zero-terminated. Gives the length with the zero; 1 and an
// empty text if there is none.
// InternetQueryOptionA: on Linux no transport has a handle to ask, so every one is an ERROR_INVALID_HANDLE.
// CertFreeCertificateChain gives a chain back that InternetQueryOptionA gave; recorded.
#pragma once

#include "win32/error.h"
#include "win32/types.h"

#ifdef _WIN32

#include <wincrypt.h>
#include <wininet.h>

#else

using HCRYPTPROV_LEGACY = ULONG_PTR;
using HCERTSTORE = void*;
using HINTERNET = LPVOID;

struct CRYPT_OBJID_BLOB {
    DWORD cbData;
    BYTE* pbData;
};
using CRYPT_INTEGER_BLOB = CRYPT_OBJID_BLOB;
using CERT_NAME_BLOB = CRYPT_OBJID_BLOB;

struct CRYPT_BIT_BLOB {
    DWORD cbData;
    BYTE* pbData;
    DWORD cUnusedBits;
};

struct CRYPT_ALGORITHM_IDENTIFIER {
    LPSTR pszObjId;
    CRYPT_OBJID_BLOB Parameters;
};

struct CERT_PUBLIC_KEY_INFO {
    CRYPT_ALGORITHM_IDENTIFIER Algorithm;
    CRYPT_BIT_BLOB PublicKey;
};
using PCERT_PUBLIC_KEY_INFO = CERT_PUBLIC_KEY_INFO*;
static_assert(sizeof(CERT_PUBLIC_KEY_INFO) == 48);

struct CERT_EXTENSION;

struct CERT_INFO {
    DWORD dwVersion;
    CRYPT_INTEGER_BLOB SerialNumber;
    CRYPT_ALGORITHM_IDENTIFIER SignatureAlgorithm;
    CERT_NAME_BLOB Issuer;
    FILETIME NotBefore;
    FILETIME NotAfter;
    CERT_NAME_BLOB Subject;
    CERT_PUBLIC_KEY_INFO SubjectPublicKeyInfo;
    CRYPT_BIT_BLOB IssuerUniqueId;
    CRYPT_BIT_BLOB SubjectUniqueId;
    DWORD cExtension;
    CERT_EXTENSION* rgExtension;
};
using PCERT_INFO = CERT_INFO*;
static_assert(sizeof(CERT_INFO) == 208);

struct CERT_CONTEXT {
    DWORD dwCertEncodingType;
    BYTE* pbCertEncoded;
    DWORD cbCertEncoded;
    PCERT_INFO pCertInfo;
    HCERTSTORE hCertStore;
};
using PCCERT_CONTEXT = const CERT_CONTEXT*;
static_assert(sizeof(CERT_CONTEXT) == 40);

struct CERT_TRUST_STATUS {
    DWORD dwErrorStatus;
    DWORD dwInfoStatus;
};

struct CERT_REVOCATION_INFO;
struct CERT_TRUST_LIST_INFO;
struct CERT_ENHKEY_USAGE;

struct CERT_CHAIN_ELEMENT {
    DWORD cbSize;
    PCCERT_CONTEXT pCertContext;
    CERT_TRUST_STATUS TrustStatus;
    CERT_REVOCATION_INFO* pRevocationInfo;
    CERT_ENHKEY_USAGE* pIssuanceUsage;
    CERT_ENHKEY_USAGE* pApplicationUsage;
    LPCWSTR pwszExtendedErrorInfo;
};
using PCERT_CHAIN_ELEMENT = CERT_CHAIN_ELEMENT*;
static_assert(sizeof(CERT_CHAIN_ELEMENT) == 56);

struct CERT_SIMPLE_CHAIN {
    DWORD cbSize;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cElement;
    PCERT_CHAIN_ELEMENT* rgpElement;
    CERT_TRUST_LIST_INFO* pTrustListInfo;
    BOOL fHasRevocationFreshnessTime;
    DWORD dwRevocationFreshnessTime;
};
using PCERT_SIMPLE_CHAIN = CERT_SIMPLE_CHAIN*;
static_assert(sizeof(CERT_SIMPLE_CHAIN) == 40);

struct CERT_CHAIN_CONTEXT {
    DWORD cbSize;
    CERT_TRUST_STATUS TrustStatus;
    DWORD cChain;
    PCERT_SIMPLE_CHAIN* rgpChain;
    DWORD cLowerQualityChainContext;
    const CERT_CHAIN_CONTEXT** rgpLowerQualityChainContext;
    BOOL fHasRevocationFreshnessTime;
    DWORD dwRevocationFreshnessTime;
    DWORD dwCreateFlags;
    GUID ChainId;
};
using PCCERT_CHAIN_CONTEXT = const CERT_CHAIN_CONTEXT*;
static_assert(sizeof(CERT_CHAIN_CONTEXT) == 72);

struct CRYPT_DECODE_PARA;

#define X509_ASN_ENCODING 0x1U
#define PKCS_7_ASN_ENCODING 0x10000U
#define X509_PUBLIC_KEY_INFO (reinterpret_cast<LPCSTR>(static_cast<ULONG_PTR>(8)))
#define CRYPT_DECODE_ALLOC_FLAG 0x8000U
#define CRYPT_STRING_BASE64HEADER 0x0U
#define CERT_NAME_SIMPLE_DISPLAY_TYPE 4U
#define INTERNET_OPTION_SERVER_CERT_CHAIN_CONTEXT 105U

#define CRYPT_E_NOT_FOUND (static_cast<HRESULT>(0x80092004U))
#define CRYPT_E_ASN1_EOD (static_cast<HRESULT>(0x80093102U))
#define CRYPT_E_ASN1_BADTAG (static_cast<HRESULT>(0x8009310BU))

extern "C" {
HCERTSTORE WINAPI CertOpenSystemStoreW(HCRYPTPROV_LEGACY provider, LPCWSTR name);
PCCERT_CONTEXT WINAPI CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous);
BOOL WINAPI CertCloseStore(HCERTSTORE store, DWORD flags);
BOOL WINAPI CryptStringToBinaryA(LPCSTR text, DWORD length, DWORD flags, BYTE* binary, DWORD* size, DWORD* skipped,
                                 DWORD* foundFlags);
BOOL WINAPI CryptDecodeObjectEx(DWORD encoding, LPCSTR type, const BYTE* encoded, DWORD encodedSize, DWORD flags,
                                CRYPT_DECODE_PARA* parameters, void* decoded, DWORD* decodedSize);
BOOL WINAPI CertComparePublicKeyInfo(DWORD encoding, PCERT_PUBLIC_KEY_INFO key, PCERT_PUBLIC_KEY_INFO other);
DWORD WINAPI CertGetNameStringA(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* parameter, LPSTR name,
                                DWORD size);
void WINAPI CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain);
BOOL WINAPI InternetQueryOptionA(HINTERNET handle, DWORD option, LPVOID buffer, LPDWORD size);
}

#endif
