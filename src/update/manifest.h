// The signed XML document that names the newest version of each application. Nothing of it is trusted before its
// signature has held.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

#include "data/value.h"
#include "net/http_request.h"
#include "net/result_code.h"

namespace base {

// A manifest is at most this long.
inline constexpr std::size_t manifestLimit = 1'000'000;

// The public key of the installation.
boost::filesystem::path manifestKeyFile();

// The file's bytes; none, with a line in the log, if there are none.
std::optional<Bytes> readManifestKey(const boost::filesystem::path& file);

// The bytes that the signature covers: all but the lines that consist of a manifest-signature element, with its
// blanks, tabs and line feed. What is removed are the matches of
//   [ \t]*<manifest-signature>[^<]*</manifest-signature>[ \t]*\n
// in time and memory that are linear in the text, which no attacker has to sign. A manifest with more than one of them,
// wherever they stand, is refused: readers could differ on which one counts.
Bytes signedBytes(const Bytes& manifest);
// The same, and the elements that were removed, as parts of the manifest.
Bytes signedBytes(const Bytes& manifest, std::vector<std::string_view>& elements);

// True if the signature holds and the manifest has this suite's application with all its required members, which is
// then copied to `application`. Otherwise the failure is logged, and the callback has had its final call. The key is
// read anew for each call. Any thread.
bool verifyManifest(const Bytes& bytes, const ProgressCallback& callback, data::Value& application,
                    const boost::filesystem::path& keyFile = manifestKeyFile());
// The same with a key in PEM.
bool verifyManifest(const Bytes& bytes, const Bytes& key, const ProgressCallback& callback, data::Value& application);

}  // namespace base
