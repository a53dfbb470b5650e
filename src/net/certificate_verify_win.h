// The check of pinned keys with the system's certificate operations. Each verdict leaves its lines in the log.
#pragma once

#include <boost/filesystem/path.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "net/certificate_set.h"
#include "net/certificate_verify.h"

namespace base {

// A set's key files are read on its first use, and never again. Any thread.
class CertificateVerifyWin final : public CertificateVerify {
public:
    // Without a directory the files of the installation.
    explicit CertificateVerifyWin(boost::filesystem::path directory = {});

    bool verifyWithHandle(const std::string& url, const HINTERNET* handle) override;
    bool verifyChain(const std::string& url, PCCERT_CHAIN_CONTEXT chain, std::string& last) override;

    using Keys = std::vector<std::shared_ptr<CERT_PUBLIC_KEY_INFO>>;

    // Those that the set's files hold; each file that holds none leaves a line in the log.
    Keys GetPublicKeys(CertificateSet set);

private:
    std::optional<Keys> knownKeys(CertificateSet set) const;
    // Null, and a line in the log, for a file that holds no key.
    std::shared_ptr<CERT_PUBLIC_KEY_INFO> readKey(const std::string& name) const;
    // None, and a line in the log, without a set or keys.
    Keys keysForUrl(const std::string& tag, const std::string& url);

    const boost::filesystem::path directory_;
    mutable std::mutex mutex_;  // never held while a file is read
    std::map<CertificateSet, Keys> keys_;
};

}  // namespace base
