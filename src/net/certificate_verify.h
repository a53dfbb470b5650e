// The pinning check for a transport that has a server's chain in the system's own form.
#pragma once

#include <string>

#include "base/global_slot.h"
#include "win32/certificate.h"

namespace base {

class CertificateVerify {
public:
    CertificateVerify() = default;
    CertificateVerify(const CertificateVerify&) = delete;
    CertificateVerify& operator=(const CertificateVerify&) = delete;
    virtual ~CertificateVerify() = default;

    // True if the chain of the server behind the open request has one of the keys that are pinned for the address. A
    // null `handle`, or one that points to null, is no request.
    virtual bool verifyWithHandle(const std::string& url, const HINTERNET* handle) = 0;
    // The same for a chain that the caller has and keeps. Without a match `last` becomes the name of the last
    // certificate that has one.
    virtual bool verifyChain(const std::string& url, PCCERT_CHAIN_CONTEXT chain, std::string& last) = 0;
};

GlobalSlot<CertificateVerify>& certificateVerify();

}  // namespace base
