#include "net/system_stores.h"

#include "win32/certificate.h"

namespace base {

void visitSystemCertificates(const std::function<void(const std::uint8_t* bytes, std::size_t size)>& visit) {
    for (const WCHAR* const name : {W("CA"), W("ROOT"), W("AuthRoot")}) {
        const HCERTSTORE store = CertOpenSystemStoreW(0, name);
        if (store == nullptr) {
            continue;
        }
        PCCERT_CONTEXT certificate = nullptr;
        while ((certificate = CertEnumCertificatesInStore(store, certificate)) != nullptr) {
            visit(certificate->pbCertEncoded, certificate->cbCertEncoded);
        }
        CertCloseStore(store, 0);
    }
}

}  // namespace base
