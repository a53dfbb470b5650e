// How fast a manifest is verified, beside OpenSSL's own verification of the same bytes with the same key.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include <memory>
#include <string>

#include "data/xml_value.h"
#include "update/manifest.h"

namespace {

using base::Bytes;
using Key = std::shared_ptr<EVP_PKEY>;

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// A manifest of 100 KB, signed with a key as long as the packaged one.
struct Signed {
    Signed() {
        const Key key(EVP_RSA_gen(4096), EVP_PKEY_free);
        const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<manifest>\n";
        std::string tail = application("Zelmo Dockset");
        while (tail.size() < 100'000) {
            tail += application("Program " + std::to_string(tail.size()));
        }
        tail += "</manifest>\n";
        data = bytesOf(head + tail);
        signature = sign(key);
        std::string text(1024, '\0');
        text.resize(static_cast<std::size_t>(EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                                             signature.data(), static_cast<int>(signature.size()))));
        manifest = bytesOf(head + "  <manifest-signature>" + text + "</manifest-signature>\n" + tail);
        const std::shared_ptr<BIO> memory(BIO_new(BIO_s_mem()), BIO_free);
        PEM_write_bio_PUBKEY(memory.get(), key.get());
        char* bytes = nullptr;
        const long size = BIO_get_mem_data(memory.get(), &bytes);
        pem.assign(bytes, bytes + size);
    }

    static std::string application(const std::string& id) {
        return "  <application>\n    <id>" + id +
               "</id>\n    <version>2.19.0.0</version>\n    <eula-version>2.0.0.0</eula-version>\n"
               "    <url>https://update.tavrin.example/zd/zdsetup-2.19.0.0.exe</url>\n    <signature>" +
               std::string(684, 'A') + "</signature>\n  </application>\n";
    }
    Bytes sign(const Key& key) const {
        const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        Bytes made(512);
        std::size_t size = made.size();
        EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get());
        EVP_DigestSign(context.get(), made.data(), &size, data.data(), data.size());
        return made;
    }

    Bytes data;
    Bytes manifest;
    Bytes signature;
    Bytes pem;
};

const Signed& sample() {
    static const Signed instance;
    return instance;
}

void updateVerify(benchmark::State& state) {
    const auto ignore = [](std::size_t, std::size_t, base::ResultCode) { return false; };
    sample();
    for (auto _ : state) {
        data::Value application;
        if (!base::verifyManifest(sample().manifest, sample().pem, ignore, application)) {
            state.SkipWithError("refused");
        }
    }
}
BENCHMARK(updateVerify)->Unit(benchmark::kMicrosecond);

void updateLibraryVerify(benchmark::State& state) {
    const Signed& one = sample();
    for (auto _ : state) {
        const std::shared_ptr<BIO> pem(BIO_new_mem_buf(one.pem.data(), static_cast<int>(one.pem.size())), BIO_free);
        const Key key(PEM_read_bio_PUBKEY(pem.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
        const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        EVP_DigestVerifyInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get());
        if (EVP_DigestVerify(context.get(), one.signature.data(), one.signature.size(), one.data.data(),
                             one.data.size()) != 1) {
            state.SkipWithError("refused");
        }
    }
}
BENCHMARK(updateLibraryVerify)->Unit(benchmark::kMicrosecond);

}  // namespace
