#include "cache/file_cache.h"

#include <openssl/sha.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/object_names.h"
#include "base/paths.h"
#include "data/data_file.h"
#include "data/json_value.h"
#include "data/whole_file.h"
#include "win32/identifier.h"

namespace base {

namespace fs = boost::filesystem;

using data::DataFile;
using data::Value;
using data::ValueType;

namespace {

void log(const std::string& text) { logMessage("PlatformCache", text); }

// The length of a regular file; 0, which no entry has, for anything else.
std::uint64_t lengthOnDisk(const fs::path& path) {
    boost::system::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

// A damaged index must not lead out of the cache's directory.
bool isFileName(const std::string& name) { return !name.empty() && name.find_first_of("/\\") == std::string::npos; }

std::string newFileName() {
    // Holds something even if the system gives no identifier.
    const std::array<std::int64_t, 2> block{
        std::time(nullptr),
        std::rand()};  // NOLINT(cert-msc30-c,cert-msc50-cpp,concurrency-mt-unsafe): a last resort, not a secret
    UUID uuid{};
    static_assert(sizeof block == sizeof uuid);
    std::memcpy(&uuid, block.data(), sizeof uuid);
    static_cast<void>(UuidCreate(&uuid));
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
    SHA1(reinterpret_cast<const unsigned char*>(&uuid), sizeof uuid, digest.data());
    std::string name;
    for (const unsigned char byte : digest) {
        name += "0123456789abcdef"[byte >> 4U];
        name += "0123456789abcdef"[byte & 15U];
    }
    return name;
}

bool writeFile(const fs::path& path, const std::vector<std::uint8_t>& bytes) {
    const auto file = DataFile::NewEmptyFile(widePath(path));
    file->writeAt(0, bytes.data(), bytes.size());
    file->flush();
    return file->size() == bytes.size();
}

Value toItem(CacheEntry entry) {
    Value item(ValueType::Object);
    item.set("identifier", std::move(entry.identifier));
    item.set("name", std::move(entry.name));
    item.set("last_modified", std::move(entry.last_modified));
    item.set("file_size", entry.file_size);
    return item;
}

}  // namespace

PlatformCacheHandler::PlatformCacheHandler()
    : cacheDirectory_(applicationDirectory(ApplicationSupport) / "cache"),
      indexPath_(applicationDirectory(ApplicationSupport) / "file_cache_content.json"),
      cacheMutex_(cacheMutexName) {
    cacheMutex_.open();
    if (!ensureDirectory(cacheDirectory_)) {
        log("Failed to ensure cache directory presence");
    }
}

bool PlatformCacheHandler::put(const std::string& identifier, const std::vector<std::uint8_t>& data,
                               const std::string& lastModified) {
    const std::lock_guard lock(mutex_);
    const CacheMutexLock machineLock(cacheMutex_);
    Index index = load();
    if (identifier.empty() || data.empty()) {
        return false;
    }
    const auto known = index.find(identifier);
    CacheEntry entry{
        identifier, known == index.end() ? newFileName() : known->second.name, lastModified, data.size(), {}};
    entry.path = cacheDirectory_ / pathFromUtf8(entry.name);
    if (writeFile(entry.path, data)) {
        index.insert_or_assign(identifier, std::move(entry));
        save(std::move(index));
        return true;
    }
    boost::system::error_code ignored;
    fs::remove(entry.path, ignored);
    if (known != index.end()) {
        index.erase(known);
        save(std::move(index));
    }
    return false;
}

bool PlatformCacheHandler::get(const std::string& identifier, std::vector<std::uint8_t>& data,
                               std::string& lastModified) {
    const std::lock_guard lock(mutex_);
    const CacheMutexLock machineLock(cacheMutex_);
    const Index index = load();
    const auto found = index.find(identifier);
    if (found == index.end()) {
        return false;
    }
    const CacheEntry& entry = found->second;
    data = data::readWholeFile(widePath(entry.path));
    if (data.size() != entry.file_size) {
        data.clear();
        return false;
    }
    lastModified = entry.last_modified;
    return true;
}

// Items whose file isn't there whole are passed over; of two items with one key the later one counts.
PlatformCacheHandler::Index PlatformCacheHandler::load() const {
    Value content = data::readJsonFile(widePath(indexPath_));
    Value& items = content.member("cached_items");
    Index index;
    if (items.type != ValueType::Array) {
        return index;
    }
    for (Value& item : items.items) {
        const auto take = [&item](std::string_view key) { return std::move(item.member(key).text); };
        CacheEntry entry{take("identifier"),
                         take("name"),
                         take("last_modified"),
                         static_cast<std::uint64_t>(item.member("file_size").integer),
                         {}};
        if (entry.file_size == 0 || entry.identifier.empty() || !isFileName(entry.name)) {
            continue;
        }
        entry.path = cacheDirectory_ / pathFromUtf8(entry.name);
        if (lengthOnDisk(entry.path) == entry.file_size) {
            index.insert_or_assign(index.end(), entry.identifier, std::move(entry));
        }
    }
    return index;
}

void PlatformCacheHandler::save(Index index) const {
    Value items(ValueType::Array);
    for (auto& item : index) {
        items.append(toItem(std::move(item.second)));
    }
    Value content(ValueType::Object);
    content.set("cached_items", std::move(items));
    if (!data::writeJson(content, DataFile::NewEmptyFile(widePath(indexPath_)))) {
        log("Failed to write cache content info to file");
    }
}

}  // namespace base
