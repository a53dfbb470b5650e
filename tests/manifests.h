// Signed update manifests, and the keys for them, made for a test.
#pragma once

#include <openssl/evp.h>

#include <string>
#include <vector>

#include "certificates.h"
#include "temp_directory.h"

namespace tests {

// Base64, on one line.
inline std::string signatureOf(const std::string& data, const Key& key) {
    const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(data.data());
    std::size_t size = 0;
    EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get());
    EVP_DigestSign(context.get(), nullptr, &size, bytes, data.size());
    Bytes signature(size);
    EVP_DigestSign(context.get(), signature.data(), &size, bytes, data.size());
    std::string text(4 * ((size + 2) / 3) + 1, '\0');
    text.resize(static_cast<std::size_t>(
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), signature.data(), static_cast<int>(size))));
    return text;
}

struct Application {
    std::string version = "2.19.0.0";
    std::string eula = "2.0.0.0";
    std::string url = "https://update.tavrin.example/zdsetup.exe";
    std::string signature{};
    std::string more{};  // further elements
    std::string id = "Zelmo Dockset";

    std::string text() const {
        return "  <application>\n    <id>" + id + "</id>\n    <version>" + version + "</version>\n    <eula-version>" +
               eula + "</eula-version>\n    <url>" + url + "</url>\n    <signature>" + signature + "</signature>\n" +
               more + "  </application>\n";
    }
};

inline std::string signatureLine(const std::string& signature) {
    return "  <manifest-signature>" + signature + "</manifest-signature>\n";
}

// What stands in a manifest but for the line of the signature, in two parts; it goes between them.
inline const std::string manifestHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<manifest>\n";
inline std::string manifestTail(const std::vector<Application>& applications) {
    std::string tail;
    for (const Application& application : applications) {
        tail += application.text();
    }
    return tail + "</manifest>\n";
}

inline std::string signedManifest(const std::vector<Application>& applications, const Key& key) {
    const std::string tail = manifestTail(applications);
    return manifestHead + signatureLine(signatureOf(manifestHead + tail, key)) + tail;
}

}  // namespace tests
