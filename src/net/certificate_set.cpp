#include "net/certificate_set.h"

#include "base/directories.h"
#include "net/url.h"

namespace base {

CertificateSet certificateSetFor(const std::string& url) {
    const std::string host = parseUrl(url).host;
    if (host.find("tavrin") != std::string::npos) {
        return CertificateSet::Tavrin;
    }
    return host.find("google") != std::string::npos ? CertificateSet::Google : CertificateSet::Unspecified;
}

const char* displayText(CertificateSet set) {
    switch (set) {
        case CertificateSet::Unspecified:
            return "Unspecified";
        case CertificateSet::Tavrin:
            return "Tavrin";
        case CertificateSet::Google:
            return "Google";
    }
    return "unknown";
}

std::vector<std::string> certificateFileNames(CertificateSet set) {
    switch (set) {
        case CertificateSet::Tavrin:
            return {"tavrin.pem", "tavrin2.pem", "tavrin3.pem"};
        case CertificateSet::Google:
            return {"Google-Internet-Authority-G2.pem",
                    "Google-Internet-Authority-G3.pem",
                    "GlobalSignECCR4.pem",
                    "GlobalSignR2.pem",
                    "GTSR1.pem",
                    "GTSR2.pem",
                    "GTSR3.pem",
                    "GTSR4.pem"};
        default:
            return {};
    }
}

boost::filesystem::path certificateDirectory() { return applicationDirectory(Resources) / "certificates" / "zd"; }

}  // namespace base
