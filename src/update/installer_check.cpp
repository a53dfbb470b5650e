#include "update/installer_check.h"

#include <algorithm>

#include "base/paths.h"
#include "win32/file.h"

namespace base {

namespace {

constexpr std::size_t blockSize = 0x100000;

bool begin(SignatureCheck& check, const std::string& signature, const Bytes& key, Bytes& decoded) {
    PublicKeys keys;
    return decodeSignature(Bytes(signature.begin(), signature.end()), decoded) && readPublicKey(key, keys) &&
           check.begin(keys);
}

}  // namespace

InstallerCheck::InstallerCheck(const std::string& signature, const Bytes& key, const std::atomic<bool>& stop)
    : stop_(stop), usable_(begin(check_, signature, key, signature_)) {}

bool InstallerCheck::add(const void* bytes, std::size_t size) {
    usable_ = usable_ && !stop_ && check_.add(bytes, size);
    return usable_;
}

bool InstallerCheck::passes(const Bytes& installer) {
    for (std::size_t done = 0; done < installer.size(); done += blockSize) {
        if (!add(installer.data() + done, std::min(installer.size() - done, blockSize))) {
            return false;
        }
    }
    return usable_ && check_.holds(signature_);
}

bool InstallerCheck::passes(const FileHandle& file) {
    Bytes block(blockSize);
    std::uint64_t size = 0;
    DWORD count = 0;
    if (!file || SetFilePointerEx(file.get(), LARGE_INTEGER{}, nullptr, FILE_BEGIN) == FALSE) {
        return false;
    }
    do {
        if (ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &count, nullptr) == FALSE ||
            !add(block.data(), count) || (size += count) > installerLimit) {
            return false;
        }
    } while (count > 0);
    return check_.holds(signature_);
}

FileHandle holdFile(const boost::filesystem::path& path) {
    return FileHandle(CreateFileW(widePath(path).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
}

}  // namespace base
