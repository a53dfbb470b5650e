// Whether an installer is the one that was signed. Each check polls the stop flag between blocks of a megabyte.
#pragma once

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <string>

#include "base/handle.h"
#include "net/http_request.h"
#include "update/signature.h"

namespace base {

// An installer is at most this long.
inline constexpr std::uint64_t installerLimit = 1'000'000'000;

// What an installer's signature is held against: base64, and the manifest's key in PEM. One that can't be used lets
// nothing pass. For one check.
class InstallerCheck {
public:
    InstallerCheck(const std::string& signature, const Bytes& key, const std::atomic<bool>& stop);

    // False also when the stop was seen.
    bool passes(const Bytes& installer);
    // Reads the whole file.
    bool passes(const FileHandle& file);

private:
    bool add(const void* bytes, std::size_t size);

    const std::atomic<bool>& stop_;
    Bytes signature_;
    SignatureCheck check_;
    bool usable_;
};

// Open for reading. While it is open nobody may write the file, as far as the system keeps others from it, and what the
// shell starts by this path is this very file. Empty if there is no such file or somebody has it open for writing.
FileHandle holdFile(const boost::filesystem::path& path);

}  // namespace base
