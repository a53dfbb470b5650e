// The pinned keys of this installation and the system's roots, for the TLS side of requests.
#pragma once

#include <openssl/x509.h>

#include <boost/filesystem/path.hpp>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "net/certificate_set.h"
#include "net/pinning.h"

namespace base {

// Keys and roots are read on first need and stay as long as the object; a file that couldn't be read isn't tried
// again. The operations of the base, any thread.
class InstalledPins final : public CertificatePins {
public:
    // Without a directory the files of the installation.
    explicit InstalledPins(boost::filesystem::path directory = {});
    ~InstalledPins() override;

    std::vector<Bytes> pinnedKeysFor(const std::string& url) override;
    // DER SubjectPublicKeyInfo of each RSA key that the set's files hold. Takes pinMutex.
    std::vector<Bytes> pinnedKeysFor(CertificateSet set);
    const std::vector<X509*>& systemRoots() override;
    SSL_verify_cb verifyCallback() override;

private:
    void loadSystemRoots();

    const boost::filesystem::path directory_;
    // Under pinMutex.
    std::map<CertificateSet, std::vector<Bytes>> keys_;
    std::vector<X509*> systemRoots_;
    bool systemRootsLoaded_ = false;
};

// The process's pins. They are never destroyed: a thread that is joined by a static destructor still makes requests,
// and none of them may go unpinned.
std::shared_ptr<InstalledPins> installedPins();

// OpenSSL's verify callback: lets a valid chain pass if one of its certificates has a key of the record's, and notes in
// the record what it found. It never makes a chain valid. Takes pinMutex.
int onVerifyCertificate(int preverified, X509_STORE_CTX* store);

}  // namespace base
