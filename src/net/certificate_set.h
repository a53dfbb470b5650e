// Which of the packaged public keys a server must show.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace base {

enum class CertificateSet : std::uint32_t { Unspecified = 0, Tavrin = 1, Google = 2 };

// By the address's host alone, as it is written there. Any thread.
CertificateSet certificateSetFor(const std::string& url);

// "unknown" for a value without a name.
const char* displayText(CertificateSet set);

// The names of the set's key files; none for a value without a name.
std::vector<std::string> certificateFileNames(CertificateSet set);

// Where the key files lie; each holds one public key in PEM.
boost::filesystem::path certificateDirectory();

}  // namespace base
