// Version, memory and processor.
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "linux/support/errno_code.h"
#include "linux/support/scripted.h"
#include "linux/support/whole_file.h"

// The compiler's macro of that name isn't the operation.
#undef __cpuid
#include "win32/system.h"

namespace {

constexpr ULONGLONG kilobyte = 1024;
constexpr ULONGLONG userAddressSpace = 0x7FFF'FFFE'0000ULL;

// The number behind "NAME:" in a file of such lines, in bytes.
ULONGLONG bytesOf(const std::string& file, const std::string& name) {
    const std::size_t line = ("\n" + file).find("\n" + name + ":");
    return line == std::string::npos ? 0 : std::strtoull(file.c_str() + line + name.size() + 1, nullptr, 10) * kilobyte;
}

WORD architectureOf(const std::string& machine) {
    if (machine == "x86_64") {
        return PROCESSOR_ARCHITECTURE_AMD64;
    }
    if (machine == "aarch64") {
        return PROCESSOR_ARCHITECTURE_ARM64;
    }
    const bool isIntel = machine.size() == 4 && machine[0] == 'i' && machine.ends_with("86");
    return isIntel ? PROCESSOR_ARCHITECTURE_INTEL : PROCESSOR_ARCHITECTURE_UNKNOWN;
}

// The processor's own answer; none where it has no such instruction.
#if defined(__x86_64__) || defined(__i386__)
bool readLeaf(unsigned leaf, unsigned (&values)[4]) {
    return __get_cpuid(leaf, &values[0], &values[1], &values[2], &values[3]) != 0;
}
#else
bool readLeaf(unsigned /*leaf*/, unsigned (&/*values*/)[4]) { return false; }
#endif

}  // namespace

GEOID WINAPI GetUserGeoID(GEOCLASS /*geoClass*/) { return GEOID_NOT_AVAILABLE; }

BOOL WINAPI GetVersionExA(OSVERSIONINFOA* version) {
    WIN32_MAY_FAIL("GetVersionExA", FALSE);
    utsname kernel{};
    const DWORD size = version->dwOSVersionInfoSize;
    if (size != sizeof(OSVERSIONINFOA) && size != sizeof(OSVERSIONINFOEXA)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    uname(&kernel);
    OSVERSIONINFOEXA result{};
    result.dwOSVersionInfoSize = size;
    char* rest = kernel.release;
    for (DWORD* const number : {&result.dwMajorVersion, &result.dwMinorVersion, &result.dwBuildNumber}) {
        *number = static_cast<DWORD>(std::strtoul(rest, &rest, 10));
        rest += *rest == '.' ? 1 : 0;
    }
    // A kernel's numbers may be those of a Windows, which would then be taken for what runs here.
    constexpr DWORD apart = 100;
    const bool isTaken = (result.dwMajorVersion == 6 && result.dwMinorVersion <= 3) ||
                         (result.dwMajorVersion == 10 && result.dwMinorVersion == 0);
    result.dwMinorVersion += isTaken ? apart : 0;
    result.wProductType = VER_NT_WORKSTATION;
    std::memcpy(version, &result, size);
    return TRUE;
}

void WINAPI GetNativeSystemInfo(SYSTEM_INFO* information) {
    utsname kernel{};
    uname(&kernel);
    *information = {};
    information->wProcessorArchitecture = architectureOf(kernel.machine);
    information->dwPageSize = static_cast<DWORD>(sysconf(_SC_PAGESIZE));
    information->dwNumberOfProcessors = static_cast<DWORD>(sysconf(_SC_NPROCESSORS_ONLN));
}

BOOL WINAPI GlobalMemoryStatusEx(MEMORYSTATUSEX* status) {
    WIN32_MAY_FAIL("GlobalMemoryStatusEx", FALSE);
    const auto system = win32::readWholeFile("/proc/meminfo");
    const auto own = win32::readWholeFile("/proc/self/status");
    if (!system || !own || status->dwLength != sizeof(MEMORYSTATUSEX)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    status->ullTotalPhys = bytesOf(*system, "MemTotal");
    status->ullAvailPhys = bytesOf(*system, "MemAvailable");
    status->ullTotalPageFile = status->ullTotalPhys + bytesOf(*system, "SwapTotal");
    status->ullAvailPageFile = status->ullAvailPhys + bytesOf(*system, "SwapFree");
    status->ullTotalVirtual = userAddressSpace;
    status->ullAvailVirtual = userAddressSpace - std::min(userAddressSpace, bytesOf(*own, "VmSize"));
    status->ullAvailExtendedVirtual = 0;
    const ULONGLONG used = status->ullTotalPhys - std::min(status->ullAvailPhys, status->ullTotalPhys);
    status->dwMemoryLoad = static_cast<DWORD>(used * 100 / std::max<ULONGLONG>(status->ullTotalPhys, 1));
    return TRUE;
}

void __cpuid(int registers[4], int leaf) {
    unsigned values[4] = {};
    const auto answer = [&] {
        WIN32_MAY_FAIL("__cpuid", false);
        return readLeaf(static_cast<unsigned>(leaf), values);
    };
    if (!answer()) {
        std::fill(std::begin(values), std::end(values), 0U);
    }
    std::copy(std::begin(values), std::end(values), registers);
}
