// What the platform reports of the machine.
#include <array>
#include <cstring>
#include <vector>

#include "base/directories.h"
#include "base/log_receiver.h"
#include "base/text.h"
#include "platform/os_version.h"
#include "platform/platform_win32.h"
#include "win32/file.h"
#include "win32/kernel.h"

namespace dockset {

namespace {

// False, and logged by the query's name.
bool readVersion(const char* operation, OSVERSIONINFOEXA& version) {
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&version)) == FALSE) {
        base::logMessage(operation, "GetVersionExA failed with " + std::to_string(GetLastError()));
        return false;
    }
    return true;
}

class FindHandle {
public:
    FindHandle(const WideString& pattern, WIN32_FIND_DATAW& data) : handle_(FindFirstFileW(pattern.c_str(), &data)) {}
    FindHandle(const FindHandle&) = delete;
    FindHandle& operator=(const FindHandle&) = delete;
    ~FindHandle() {
        if (*this) {
            FindClose(handle_);
        }
    }

    explicit operator bool() const { return handle_ != INVALID_HANDLE_VALUE; }
    bool next(WIN32_FIND_DATAW& data) { return FindNextFileW(handle_, &data) != FALSE; }

private:
    const HANDLE handle_;
};

bool isOwnName(base::WideView name) { return name.empty() || name == W(".") || name == W(".."); }

// Adds the sizes of the files in the directory, whose path ends in a separator, and puts its directories on the list.
// The first entry is the directory's own name. False if it can't be listed.
bool addFiles(const WideString& directory, std::uint64_t& size, std::vector<WideString>& directories) {
    WIN32_FIND_DATAW entry{};
    FindHandle find(directory + W("*"), entry);
    if (!find) {
        return false;
    }
    while (find.next(entry)) {
        if (isOwnName(entry.cFileName)) {
            continue;
        }
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            directories.push_back(directory + entry.cFileName + W("\\"));
        } else {
            size += (std::uint64_t{entry.nFileSizeHigh} << 32U) | entry.nFileSizeLow;
        }
    }
    return true;
}

WideString walkable(WideString path) {
    for (WCHAR& c : path) {
        c = c == W('/') ? W('\\') : c;
    }
    return path.back() == W('\\') ? path : path + W("\\");
}

}  // namespace

std::string PlatformWin32::getOSVersion() {
    OSVERSIONINFOEXA version{};
    if (!readVersion("getOSVersion", version)) {
        return {};
    }
    return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion);
}

std::string PlatformWin32::getOSVersionIdentifier() {
    OSVERSIONINFOEXA version{};
    if (!readVersion("getOSVersionIdentifier", version)) {
        return "Windows Unknown 64 bit build";
    }
    SYSTEM_INFO system{};
    GetNativeSystemInfo(&system);
    return describeVersion(version, system.wProcessorArchitecture);
}

std::string PlatformWin32::getCPUName() {
    constexpr unsigned leaves = 0x80000000U;
    constexpr unsigned lastNameLeaf = 0x80000004U;
    constexpr unsigned nameLeaves = 3;
    std::array<int, 4> registers{};
    __cpuid(registers.data(), static_cast<int>(leaves));
    if (static_cast<unsigned>(registers[0]) < lastNameLeaf) {
        return "unknown";
    }
    std::array<char, nameLeaves * sizeof registers + 1> name{};
    for (unsigned i = 0; i < nameLeaves; ++i) {
        __cpuid(registers.data(), static_cast<int>(leaves + 2 + i));
        std::memcpy(name.data() + i * sizeof registers, registers.data(), sizeof registers);
    }
    return name.data() + std::strspn(name.data(), " \t");
}

std::string PlatformWin32::getRAMSize() {
    constexpr std::uint64_t half = 0x20000000;
    constexpr unsigned gibibyteBits = 30;
    MEMORYSTATUSEX memory{};
    memory.dwLength = sizeof memory;
    if (GlobalMemoryStatusEx(&memory) == FALSE) {
        return "-";
    }
    return std::to_string((memory.ullTotalPhys + half) >> gibibyteBits) + " GB";
}

bool PlatformWin32::isComputerRunningOnBattery() {
    SYSTEM_POWER_STATUS status{};
    if (GetSystemPowerStatus(&status) == FALSE) {
        base::logMessage("isComputerRunningOnBattery",
                         "GetSystemPowerStatus failed with " + std::to_string(GetLastError()));
        return false;
    }
    return status.ACLineStatus == 0;
}

bool PlatformWin32::getDirectorySize(const WideString& path, std::uint64_t& size) {
    size = 0;
    if (path.empty()) {
        return false;
    }
    // One directory is open at a time, however deep they lie.
    std::vector<WideString> directories;
    const bool started = addFiles(walkable(path), size, directories);
    while (!directories.empty()) {
        const WideString next = std::move(directories.back());
        directories.pop_back();
        addFiles(next, size, directories);
    }
    return started;
}

std::uint64_t PlatformWin32::getDiskFreeSpace(const WideString& path) {
    ULARGE_INTEGER available{};
    if (GetDiskFreeSpaceExW(path.c_str(), &available, nullptr, nullptr) == FALSE) {
        base::logMessage("PlatformWin32",
                         "getDiskFreeSpace GetDiskFreeSpaceExW failed with " + std::to_string(GetLastError()));
        return 0;
    }
    return available.QuadPart;
}

bool PlatformWin32::getStorageInfo(StorageInfo& info) {
    const boost::filesystem::path directories[3] = {base::applicationDirectory(base::Temporary),
                                                    base::applicationDirectory(base::ApplicationSupport),
                                                    base::applicationDirectory(base::Backups)};
    collectStorageInfo(directories, info);
    return true;
}

}  // namespace dockset
