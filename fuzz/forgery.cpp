// Attempts on a signed manifest: whatever is done to it, what is taken says what its owner has signed.
#include <algorithm>
#include <iterator>
#include <regex>
#include <string>

#include "data/xml_value.h"
#include "fuzz.h"
#include "trees.h"
#include "update/manifest.h"

namespace {

using base::Bytes;

// Nobody has the private key any more. It has signed this document alone, which stands, signed, among the kept inputs.
constexpr std::string_view key =
    "-----BEGIN PUBLIC KEY-----\n"
    "MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAE/9RT8U0r25vVNcw7yA1zxeSFZAvl\n"
    "KmcxTek+hIpeaQeXxkMRoUkbN6AOwIVlOPuGQcJF63qaRcnOrzS7etZ70Q==\n"
    "-----END PUBLIC KEY-----\n";
constexpr std::string_view document =
    "<?xml version=\"1.0\"?>\n<manifest>\n<application>\n<id>Zelmo Dockset</id>\n<version>3.0</version>\n"
    "<eula-version>1</eula-version>\n<url>https://tavrin.test/a</url>\n<signature>QUJD</signature>\n</application>\n"
    "</manifest>\n";

Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

// A line of the signature, by the expression that defines it.
const std::regex line("[ \\t]*<manifest-signature>[^<]*</manifest-signature>[ \\t]*\\n");

}  // namespace

FUZZ_TARGET(forgery) {
    constexpr std::size_t longest = 1000;  // or the expression goes too deep into the stack
    const std::string text(fuzz::textOf(input.first(std::min(input.size(), longest))));
    const Bytes manifest = bytesOf(text);
    const Bytes rest = base::signedBytes(manifest);
    fuzz::require(rest == bytesOf(std::regex_replace(text, line, "")), "the expression says what is covered");
    data::Value application;
    const auto ignore = [](std::size_t, std::size_t, base::ResultCode) { return false; };
    if (base::verifyManifest(manifest, bytesOf(key), ignore, application)) {
        static const data::Value real =
            data::parseXml(document.data(), document.size()).find("manifest", "application");
        fuzz::require(rest == bytesOf(document), "what is taken is what was signed");
        for (const char* const name : {"id", "version", "eula-version", "url", "signature"}) {
            fuzz::require(application.find(name).text == real.find(name).text, "and says the same");
        }
        fuzz::require(!application.hasString("forced"), "and nothing more");
        const auto lines = std::distance(std::sregex_iterator(text.begin(), text.end(), line), std::sregex_iterator());
        fuzz::require(lines == 1, "it has one line of the signature, wherever it stands");
    }
}
