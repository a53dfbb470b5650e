// zdmanifest: signs update manifests and installers, and tells whether the agent will take them. It stands on the very
// code with which the agent verifies; packaging/man/zdmanifest.1 has its manual.

#include <openssl/pem.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/log_receiver.h"
#include "data/xml_value.h"
#include "net/certificate_set.h"
#include "net/url.h"
#include "update/installer_check.h"
#include "update/manifest.h"
#include "update/signature.h"
#include "update/update_handler.h"
#include "update/version.h"

namespace {

using base::Bytes;
using data::Value;

enum ExitCode { good = 0, notGood = 1, wrongUsage = 2, noAccess = 3 };

constexpr const char* usage =
    "usage: zdmanifest sign PRIVATE-KEY MANIFEST\n"
    "       zdmanifest sign --installer PRIVATE-KEY FILE\n"
    "       zdmanifest verify PUBLIC-KEY MANIFEST [INSTALLER]\n"
    "       zdmanifest show MANIFEST\n";

constexpr const char* opening = "<manifest-signature>";
constexpr const char* closing = "</manifest-signature>";
constexpr std::size_t longestSignature = 512;

struct Failure : std::runtime_error {
    Failure(ExitCode exitCode, const std::string& text) : std::runtime_error(text), code(exitCode) {}
    ExitCode code;
};

// What the verifying code has to say.
struct Receiver : base::GlobalLogReceiver {
    void log(const std::string&, const std::string& text) override { std::cerr << "  " << text << "\n"; }
};

std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

Bytes read(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || !boost::filesystem::is_regular_file(path)) {
        throw Failure(noAccess, path + ": can't be read");
    }
    Bytes bytes(boost::filesystem::file_size(path));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    return bytes;
}

// Whoever reads the file meanwhile sees the old one or the new one.
void replace(const std::string& path, const std::string& text) {
    const std::string fresh = path + ".new";
    std::ofstream file(fresh, std::ios::binary);
    const bool isOurs = file.is_open();
    file << text;
    file.close();
    boost::system::error_code error;
    if (file) {
        boost::filesystem::rename(fresh, path, error);
    }
    if (!file || error) {
        if (isOurs) {
            boost::filesystem::remove(fresh, error);
        }
        throw Failure(noAccess, path + ": can't be written");
    }
}

using Key = std::shared_ptr<EVP_PKEY>;
using Bio = std::shared_ptr<BIO>;

Key readPrivateKey(const std::string& path) {
    const Bytes pem = read(path);
    const Bio source(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
    Key key(PEM_read_bio_PrivateKey(source.get(), nullptr, nullptr, nullptr), EVP_PKEY_free);
    if (!key) {
        throw Failure(noAccess, path + ": holds no private key in PEM");
    }
    return key;
}

Bytes publicPartOf(const Key& key) {
    const Bio memory(BIO_new(BIO_s_mem()), BIO_free);
    PEM_write_bio_PUBKEY(memory.get(), key.get());
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &bytes);
    return {bytes, bytes + size};
}

std::string encodeBase64(const Bytes& bytes) {
    std::string text(4 * (bytes.size() / 3 + 1) + 1, '\0');
    text.resize(static_cast<std::size_t>(
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()))));
    return text;
}

std::string sign(const Bytes& data, const Key& key) {
    const std::shared_ptr<EVP_MD_CTX> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::size_t size = 0;
    Bytes signature;
    if (EVP_DigestSignInit(context.get(), nullptr, EVP_sha256(), nullptr, key.get()) > 0 &&
        EVP_DigestSign(context.get(), nullptr, &size, data.data(), data.size()) > 0) {
        signature.resize(size);
        if (EVP_DigestSign(context.get(), signature.data(), &size, data.data(), data.size()) <= 0) {
            size = 0;
        }
        signature.resize(size);
    }
    if (signature.empty() || signature.size() > longestSignature) {
        throw Failure(noAccess, "the key makes no signature with SHA-256 of at most 512 bytes");
    }
    return encodeBase64(signature);
}

// Where the line of the signature goes: behind the start tag of the root element, and its line feed if it has one.
std::size_t signatureOffset(const std::string& text) {
    const std::size_t root = text.find("<manifest>");
    if (root == std::string::npos) {
        throw Failure(notGood, "there is no <manifest>");
    }
    const std::size_t offset = root + std::string("<manifest>").size();
    return offset < text.size() && text[offset] == '\n' ? offset + 1 : offset;
}

// Why a signature doesn't hold, as far as the line that it stands in tells; empty if that is in order.
std::string faultOfLine(const std::string& text, const Value& signature) {
    if (signature.type == data::ValueType::Array) {
        return "there are several manifest-signature elements";
    }
    if (!signature.isString()) {
        return "there is no manifest-signature element below manifest";
    }
    const std::size_t close = text.find(closing);
    const std::size_t next =
        close == std::string::npos ? close : text.find_first_not_of(" \t", close + std::string(closing).size());
    if (next == std::string::npos) {
        return "there is no line feed behind the manifest-signature element";
    }
    if (text[next] == '\r') {
        return "a carriage return stands behind the manifest-signature element: its line must end with a line feed "
               "alone";
    }
    if (text[next] != '\n') {
        return "something stands behind the manifest-signature element on its line";
    }
    return signature.text.find_first_of(" \t\r\n") == std::string::npos
               ? ""
               : "there are blanks or line ends inside of the manifest-signature element";
}

bool holds(const std::string& text, const std::string& signature, const base::PublicKeys& keys) {
    Bytes decoded;
    base::SignatureCheck check;
    const Bytes data = base::signedBytes(bytesOf(text));
    return base::decodeSignature(bytesOf(signature), decoded) && check.begin(keys) &&
           check.add(data.data(), data.size()) && check.holds(decoded);
}

std::string withLineEnds(const std::string& text, const char* lineEnd) {
    std::string result;
    for (const char character : text) {
        if (character == '\n') {
            result += lineEnd;
        } else if (character != '\r') {
            result += character;
        }
    }
    return result;
}

std::string whyNot(const Bytes& manifest, const Bytes& pem) {
    const std::string text = textOf(manifest);
    const Value tree = data::parseXml(manifest.data(), manifest.size());
    if (tree.type == data::ValueType::Null) {
        return "it isn't a well-formed XML document";
    }
    const Value& signature = tree.find("manifest", "manifest-signature");
    if (std::string fault = faultOfLine(text, signature); !fault.empty()) {
        return fault;
    }
    base::PublicKeys keys;
    if (!base::readPublicKey(pem, keys)) {
        return "the key file holds no public key in PEM";
    }
    Bytes decoded;
    base::decodeSignature(bytesOf(signature.text), decoded);
    if (decoded.empty()) {
        return "its signature isn't base64";
    }
    EVP_PKEY* const key = keys.front().get();
    if (keys.size() == 1 && EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA &&
        decoded.size() != static_cast<std::size_t>(EVP_PKEY_get_size(key))) {
        return "its signature has " + std::to_string(decoded.size()) + " bytes, and one of this key has " +
               std::to_string(EVP_PKEY_get_size(key));
    }
    for (const char* const lineEnd : {"\n", "\r\n"}) {
        const std::string rest = textOf(base::signedBytes(manifest));
        if (holds(withLineEnds(rest, lineEnd), signature.text, keys)) {
            return "its line ends have changed since it was signed";
        }
    }
    return "it has changed since it was signed, or another key has signed it";
}

void warn(const std::string& text) { std::cerr << "warning: " << text << "\n"; }

void warnOfLength(const std::string& path, std::uint64_t length, std::uint64_t limit) {
    if (length > limit) {
        warn(path + " has " + std::to_string(length) + " bytes: no agent fetches more than " + std::to_string(limit));
    }
}

// What the agent reads in another way than its writer may have meant, won't offer or won't fetch.
void warnOf(const Value& application) {
    for (const char* const name : {"version", "eula-version", "forced"}) {
        const std::string& text = application.find(name).text;
        if (application.hasString(name) && text != base::versionToText(base::parseVersion(text))) {
            warn(std::string(name) + " \"" + text + "\" is read as " + base::versionToText(base::parseVersion(text)));
        }
    }
    const base::Version version = base::parseVersion(application.find("version").text);
    if (base::compareVersions(version, base::parseVersion(base::suiteVersion)) <= 0) {
        warn(std::string("agents of version ") + base::suiteVersion + " aren't offered it: it isn't newer");
    }
    if (base::compareVersions(base::parseVersion(application.find("forced").text), version) > 0) {
        warn("forced is above version: nobody can get what it forces");
    }
    const std::string& url = application.find("url").text;
    if (!base::parseUrl(url).https || base::certificateSetFor(url) == base::CertificateSet::Unspecified) {
        warn("no agent fetches from \"" + url + "\": it isn't an https address of a host with pinned keys");
    }
    Bytes signature;
    base::decodeSignature(bytesOf(application.find("signature").text), signature);
    if (signature.empty()) {
        warn("the installer's signature isn't base64 on one line: no agent will offer to install it");
    }
}

// The suite's application of a manifest that the agent takes.
Value verified(const std::string& path, const Bytes& manifest, const Bytes& key) {
    Value application;
    base::ResultCode code = base::Success;
    const auto note = [&code](std::size_t, std::size_t, base::ResultCode reported) {
        code = reported;
        return false;
    };
    if (!base::verifyManifest(manifest, key, note, application)) {
        const std::string reason = code == base::VerificationFailed ? ": " + whyNot(manifest, key) : "";
        throw Failure(notGood, path + ": the agent refuses it" + reason);
    }
    warnOfLength(path, manifest.size(), base::manifestLimit);
    warnOf(application);
    return application;
}

ExitCode signInstaller(const std::string& keyPath, const std::string& path) {
    const Bytes installer = read(path);
    warnOfLength(path, installer.size(), base::installerLimit);
    std::cout << sign(installer, readPrivateKey(keyPath)) << "\n";
    return good;
}

ExitCode signManifest(const std::string& keyPath, const std::string& path) {
    const Key key = readPrivateKey(keyPath);
    std::string text = textOf(base::signedBytes(read(path)));
    if (text.find("<manifest-signature") != std::string::npos) {
        throw Failure(notGood, path +
                                   ": its manifest-signature element isn't a line that ends with a line feed alone; "
                                   "take it out, and it is put in anew");
    }
    const std::string line = "  " + (opening + sign(bytesOf(text), key)) + closing + "\n";
    text.insert(signatureOffset(text), line);
    verified(path, bytesOf(text), publicPartOf(key));
    replace(path, text);
    return good;
}

ExitCode verify(const std::string& keyPath, const std::string& path, const std::string& installerPath) {
    const Bytes key = read(keyPath);
    const Value application = verified(path, read(path), key);
    std::cout << path << ": good, version " << application.find("version").text << "\n";
    if (installerPath.empty()) {
        return good;
    }
    const Bytes installer = read(installerPath);
    if (!base::verifySignature(installer, bytesOf(application.find("signature").text), key)) {
        throw Failure(notGood, installerPath + ": isn't what the manifest's signature element was made of");
    }
    warnOfLength(installerPath, installer.size(), base::installerLimit);
    std::cout << installerPath << ": good\n";
    return good;
}

ExitCode show(const std::string& path) {
    const Bytes bytes = read(path);
    const Value tree = data::parseXml(bytes.data(), bytes.size());
    const Value& applications = tree.find("manifest", "application");
    if (applications.type == data::ValueType::Null) {
        throw Failure(notGood, path + ": no manifest with an application");
    }
    const auto print = [](const Value& application) {
        for (const char* const name : {"id", "version", "eula-version", "url", "signature", "forced"}) {
            if (application.hasString(name)) {
                std::cout << name << ": " << application.find(name).text << "\n";
            }
        }
    };
    if (applications.type != data::ValueType::Array) {
        print(applications);
    }
    for (const Value& application : applications.items) {
        print(application);
        std::cout << "\n";
    }
    return good;
}

ExitCode run(const std::vector<std::string>& words) {
    const std::string verb = words.empty() ? "" : words[0];
    if (verb == "sign" && words.size() == 4 && words[1] == "--installer") {
        return signInstaller(words[2], words[3]);
    }
    if (verb == "sign" && words.size() == 3 && words[1] != "--installer") {
        return signManifest(words[1], words[2]);
    }
    if (verb == "verify" && (words.size() == 3 || words.size() == 4)) {
        return verify(words[1], words[2], words.size() == 4 ? words[3] : "");
    }
    if (verb == "show" && words.size() == 2) {
        return show(words[1]);
    }
    std::cerr << usage;
    return wrongUsage;
}

}  // namespace

int main(int argc, char** argv) {
    const auto receiver = std::make_shared<Receiver>();
    base::globalLogReceiver().publish(receiver);
    try {
        return run({argv + 1, argv + argc});
    } catch (const Failure& failure) {
        std::cerr << "zdmanifest: " << failure.what() << "\n";
        return failure.code;
    } catch (const std::exception& error) {
        std::cerr << "zdmanifest: " << error.what() << "\n";
        return noAccess;
    }
}
