// What can be reported of the disks that the suite depends on.
#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>

namespace dockset {

// A path as UTF-8, cut at that many bytes; a zero ends it.
inline constexpr std::size_t storagePathLength = 250;

struct ExtraVolumeInfo {
    char path[256];
    std::uint32_t freeSpaceError;
    std::uint32_t volumePathError;
    std::uint32_t driveType;
    std::uint32_t volumeInfoError;
    bool readOnlyVolume;
    bool present;  // the record was filled
};

// The arrays are for the directories Temporary, ApplicationSupport and Backups, in that order. Errors are those of the
// system, 0 where there was none.
struct StorageInfo {
    std::uint64_t freeBytes[3];  // what the user may have of the volume
    bool writable[3];            // a test file could be made there
    bool statusFailed[3];        // the directory's status couldn't be read; the next four are for that case
    bool writableAfterFailure[3];
    bool attributesOk[3];
    std::uint64_t attributesError[3];
    std::uint64_t createError[3];
    bool volumeFound[3];  // from here on: of directories that aren't writable
    std::uint64_t driveType[3];
    bool readOnlyVolume[3];
    bool freeSpaceFailed[3];
    std::uint32_t freeSpaceError[3];
    bool volumePathFailed[3];
    std::uint32_t volumePathError[3];
    bool volumeInfoFailed[3];
    std::uint32_t volumeInfoError[3];
    std::uint32_t
        tempPathError;   // from here to folderIdsCount: only if the system didn't report one of the directories
    bool tempPathEmpty;  // no error, and no path
    bool tempPathFound;  // no error, no length, and yet a path
    char tempPath[256];
    std::int32_t documentsError;
    bool documentsNull;
    bool documentsEmpty;
    char documentsPath[256];
    std::int32_t folderManagerError;
    std::int32_t folderIdsError;
    std::uint32_t folderIdsCount;
    bool documentsIdListed;
    ExtraVolumeInfo extraTemp;
    ExtraVolumeInfo extraDocuments;
    bool memoryOk;
    std::uint64_t totalPhysical;  // in bytes, as the next two
    std::uint64_t totalVirtual;
    std::uint64_t availableVirtual;
    std::uint32_t memoryError;
};

// Looks at the three directories, of which each may be the empty path, and at what explains a failure. Logs failures
// under "STORAGEINFO". Any thread.
void collectStorageInfo(const boost::filesystem::path (&directories)[3], StorageInfo& info);

}  // namespace dockset
