// Copies of downloaded files, kept on disk under a caller's key and shared by all processes of the suite.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "cache/cache_mutex.h"

namespace dockset {

// Nothing here throws: what can't be stored or read is a miss. Any thread.
class PlatformCache {
public:
    PlatformCache() = default;
    PlatformCache(const PlatformCache&) = delete;
    PlatformCache& operator=(const PlatformCache&) = delete;

    // Stores `data` under `identifier`, in place of what was there. `lastModified` is kept beside it as it stands.
    // False if nothing was stored: for an empty key or no data, which change nothing, and for a file that couldn't be
    // written whole, whose key is then dropped.
    virtual bool put(const std::string& identifier, const std::vector<std::uint8_t>& data,
                     const std::string& lastModified) = 0;

    // False for an unknown key, which leaves the arguments, and for a file that isn't whole, which leaves no data.
    virtual bool get(const std::string& identifier, std::vector<std::uint8_t>& data, std::string& lastModified) = 0;

    virtual ~PlatformCache() = default;
};

}  // namespace dockset

namespace base {

struct CacheEntry {
    std::string identifier;
    std::string name;  // of the file in the cache's directory
    std::string last_modified;
    std::uint64_t file_size = 0;
    boost::filesystem::path path;
};

// The cache in the application support directory: an index, file_cache_content.json, and the directory `cache` with a
// file for each entry. The index is read anew for each operation and written back by each `put`, under a mutex that is
// shared with other processes. An operation that can't have the mutex within 4.4 seconds goes on without it. There is
// no expiry and no limit, and files that no entry names stay.
class PlatformCacheHandler final : public dockset::PlatformCache {
public:
    PlatformCacheHandler();

    bool put(const std::string& identifier, const std::vector<std::uint8_t>& data,
             const std::string& lastModified) override;
    bool get(const std::string& identifier, std::vector<std::uint8_t>& data, std::string& lastModified) override;

private:
    using Index = std::map<std::string, CacheEntry>;

    Index load() const;
    void save(Index index) const;

    std::mutex mutex_;  // held for the whole of an operation
    const boost::filesystem::path cacheDirectory_;
    const boost::filesystem::path indexPath_;
    CacheMutex cacheMutex_;
};

}  // namespace base
