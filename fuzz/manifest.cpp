// What a manifest may hold once its signature holds: the target signs what the engine makes up.
#include "update/manifest.h"

#include "fuzz.h"
#include "manifests.h"

namespace {

using base::Bytes;

// Whether it is taken; each refusal is reported once.
bool verify(const Bytes& manifest, const Bytes& key, data::Value& application) {
    int reports = 0;
    const auto callback = [&reports](std::size_t, std::size_t, base::ResultCode code) {
        fuzz::require(code != base::Success, "a report is of a failure");
        ++reports;
        return false;
    };
    const bool isTaken = base::verifyManifest(manifest, key, callback, application);
    fuzz::require(reports == (isTaken ? 0 : 1), "a refusal is reported once");
    return isTaken;
}

}  // namespace

FUZZ_TARGET(manifest) {
    static const tests::Key key = tests::ecKey();
    static const Bytes pem = tests::bytesOf(tests::pemOf(key));
    fuzz::Parts parts(input);
    const std::size_t place = parts.byte() * 256U + parts.byte();
    const std::string_view text = parts.rest();
    std::string manifest = tests::textOf(base::signedBytes({text.begin(), text.end()}));
    const std::string line = tests::signatureLine(tests::signatureOf(manifest, key));
    const std::size_t root = manifest.find("<manifest>\n");
    manifest.insert(root == std::string::npos ? 0 : root + std::string_view("<manifest>\n").size(), line);
    data::Value application;
    if (!verify(tests::bytesOf(manifest), pem, application)) {
        return;
    }
    for (const char* const name : {"version", "eula-version", "url", "signature"}) {
        fuzz::require(application.hasString(name), "what is taken has all that is asked for");
    }
    fuzz::require(application.find("id").text == "Zelmo Dockset", "what is taken is this suite's");
    const std::size_t at = place % manifest.size();
    const std::size_t begin = manifest.find(line);
    if (at < begin || at >= begin + line.size()) {
        manifest[at] = static_cast<char>(manifest[at] ^ 1);
        fuzz::require(!verify(tests::bytesOf(manifest), pem, application), "what has changed is refused");
    }
}
