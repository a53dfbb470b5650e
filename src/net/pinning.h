// What the installation gives to the TLS side of a request: the keys that a server must show, and the roots that the
// system trusts.
#pragma once

#include <openssl/ssl.h>

#include <mutex>
#include <string>
#include <vector>

#include "base/global_slot.h"
#include "net/http_request.h"

namespace base {

class CertificatePins {
public:
    CertificatePins() = default;
    CertificatePins(const CertificatePins&) = delete;
    CertificatePins& operator=(const CertificatePins&) = delete;
    virtual ~CertificatePins() = default;

    // DER public keys of which the chain of the address's server must show one; none: its chain is only checked as any.
    virtual std::vector<Bytes> pinnedKeysFor(const std::string& url) = 0;

    // The system's roots, the object's own. Under pinMutex.
    virtual const std::vector<X509*>& systemRoots() = 0;

    // OpenSSL's verify callback for a context whose ex data 0 is the HTTPReqInfo with the keys; without pinMutex.
    virtual SSL_verify_cb verifyCallback() = 0;
};

// Without an object here no keys are pinned, and libcurl's own roots are trusted alone.
GlobalSlot<CertificatePins>& certificatePins();

// The keys that a request to the address requires; none if any valid chain will do, or if no TLS is spoken at all. Any
// thread, without pinMutex.
std::vector<Bytes> requiredKeysFor(const std::string& url);

// Guards what all handshakes share; outer to a request's mutex.
std::mutex& pinMutex();

}  // namespace base
