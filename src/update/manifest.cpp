#include "update/manifest.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "base/log_receiver.h"
#include "base/paths.h"
#include "data/whole_file.h"
#include "data/xml_value.h"
#include "net/certificate_set.h"
#include "update/signature.h"

namespace base {

using data::Value;
using data::ValueType;

namespace {

constexpr std::string_view opening = "<manifest-signature>";
constexpr std::string_view closing = "</manifest-signature>";
constexpr const char* suiteName = "Zelmo Dockset";

void log(const std::string& text) { logMessage("autoupdate", text); }

// Where the line ends whose element begins at `element`; npos if it isn't a line of that form.
std::size_t endOfSignatureLine(std::string_view text, std::size_t element) {
    const std::size_t close = text.find('<', element + opening.size());
    if (close == std::string_view::npos || !text.substr(close).starts_with(closing)) {
        return std::string_view::npos;
    }
    const std::size_t end = text.find_first_not_of(" \t", close + closing.size());
    return end == std::string_view::npos || text[end] != '\n' ? std::string_view::npos : end + 1;
}

std::string signatureIn(std::string_view element) {
    return data::parseXml(element.data(), element.size()).find("manifest-signature").text;
}

bool isThisSuite(const Value& application) {
    return application.hasString("id") && application.find("id").text == suiteName;
}

// Null, with a line in the log, if it isn't there.
Value findApplication(const Value& manifest) {
    const Value& found = manifest.find("manifest", "application");
    if (found.type != ValueType::Array) {
        if (isThisSuite(found)) {
            return found;
        }
        log(std::string("Failed to find application, ") + suiteName + ", in manifest");
        return Value(ValueType::Null);
    }
    for (const Value& item : found.items) {
        if (isThisSuite(item)) {
            return item;
        }
    }
    log("Failed to read manifest");
    return Value(ValueType::Null);
}

bool hasRequiredMembers(const Value& application) {
    constexpr std::array<const char*, 4> required{"version", "eula-version", "url", "signature"};
    return std::ranges::all_of(required, [&application](const char* name) {
        if (!application.hasString(name)) {
            log(std::string("Failed to find ") + name + " in manifest");
        }
        return application.hasString(name);
    });
}

}  // namespace

boost::filesystem::path manifestKeyFile() { return certificateDirectory() / "public-key.pem"; }

std::optional<Bytes> readManifestKey(const boost::filesystem::path& path) {
    const auto file = data::DataFile::OpenReadOnlyFile(widePath(path));
    if (!file->isOpen()) {
        log("Failed to open Zelmo Dockset public key file");
        return std::nullopt;
    }
    Bytes key = data::readWholeFile(*file);
    if (key.empty()) {
        log("Failed to read Zelmo Dockset public key file (0 bytes)");
        return std::nullopt;
    }
    return key;
}

Bytes signedBytes(const Bytes& manifest) {
    std::vector<std::string_view> ignored;
    return signedBytes(manifest, ignored);
}

Bytes signedBytes(const Bytes& manifest, std::vector<std::string_view>& elements) {
    elements.clear();
    const std::string_view text(reinterpret_cast<const char*>(manifest.data()), manifest.size());
    Bytes rest;
    rest.reserve(text.size());
    std::size_t done = 0;
    const auto keepUntil = [&](std::size_t end) {
        const std::string_view kept = text.substr(done, end - done);
        rest.insert(rest.end(), kept.begin(), kept.end());
    };
    std::size_t element = text.find(opening);
    while (element != std::string_view::npos) {
        const std::size_t end = endOfSignatureLine(text, element);
        if (end == std::string_view::npos) {
            element = text.find(opening, element + 1);
            continue;
        }
        elements.push_back(text.substr(element, text.find(closing, element) + closing.size() - element));
        keepUntil(text.substr(0, element).find_last_not_of(" \t") + 1);
        done = end;
        element = text.find(opening, done);
    }
    keepUntil(text.size());
    return rest;
}

bool verifyManifest(const Bytes& bytes, const ProgressCallback& callback, Value& application,
                    const boost::filesystem::path& keyFile) {
    const auto key = readManifestKey(keyFile);
    if (!key) {
        callback(1, 0, GeneralFailure);
        return false;
    }
    return verifyManifest(bytes, *key, callback, application);
}

bool verifyManifest(const Bytes& bytes, const Bytes& key, const ProgressCallback& callback, Value& application) {
    const auto report = [&callback](ResultCode code) {
        callback(1, 0, code);
        return false;
    };
    std::vector<std::string_view> elements;
    const Bytes covered = signedBytes(bytes, elements);
    const auto holds = [&](const std::string& signature) {
        return verifySignature(covered, Bytes(signature.begin(), signature.end()), key);
    };
    // The whole is parsed only when it has been signed: the parser can be kept busy for long. A further element,
    // anywhere in the document, would be a place that no signature covers.
    const std::string signature = elements.size() == 1 ? signatureIn(elements.front()) : "";
    const bool isSigned = holds(signature);
    const Value manifest = isSigned ? data::parseXml(bytes.data(), bytes.size()) : Value(ValueType::Null);
    const std::string& found = manifest.find("manifest", "manifest-signature").text;
    if (!isSigned || (found != signature && !holds(found))) {
        log("Failed to verify Zelmo Dockset manifest");
        return report(VerificationFailed);
    }
    application = findApplication(manifest);
    if (application.type == ValueType::Null || !hasRequiredMembers(application)) {
        return report(GeneralFailure);
    }
    log("Manifest successfully verified");
    return true;
}

}  // namespace base
